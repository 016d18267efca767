#include "host/Run.h"

#include "host/Admission.h"
#include "host/Host.h"
#include "host/NodeAccess.h"
#include "host/Observers.h"
#include "host/Plugin.h"
#include "host/PropertyAdvice.h"
#include "host/Terminal.h"
#include "host/UsbLock.h"
#include "host/UsbProvider.h"
#include "host/trace/Tracing.h"

#include <filesystem>

namespace zebhost {
namespace {

constexpr char kOfferAllWarning[] = "with --offer-all the plug-in asks nearly every device whether it is a "
                                    "phone; keyboards, mice, MIDI cables "
                                    "and dongles may fail until they are replugged";

/** Stops the discoverer and unloads in order, also when the run ends with an exception. */
class Ending {
public:
    Ending(Host& host, UsbProvider& provider) : mHost(host), mProvider(provider) {}
    ~Ending() {
        mProvider.stop();
        mHost.end();
    }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

private:
    Host& mHost;
    UsbProvider& mProvider;
};

/** Of what was asked for and may go wrong. */
void warn(const RunOptions& options, Output& output) {
    std::error_code none;
    if (!std::filesystem::exists(Machine().at(kUsbNodes), none))
        output.report(AdviceEvent{"no-usb", {}, kNoUsbNodes});
    if (options.policy.offerAll)
        output.report(AdviceEvent{"offer-all", {}, kOfferAllWarning});
    for (const std::string& sentence : propertyAdvice(options.properties))
        output.report(AdviceEvent{"empty-property", {}, sentence});
}

void startProvider(UsbProvider& provider, Host& host, Output& output) {
    try {
        provider.watch();
    } catch (const std::system_error& error) {
        output.report(LogEvent{ZEBDiscoveryLogSeverityError, std::string("no USB devices: ") + error.what()});
        host.providerStarted(error.code().value());
        return;
    }
    host.providerStarted(ZEBDiscoverySDKErrorNone);
    provider.scan();
}

void drive(const RunOptions& options, const Plugin& plugin, Loop& loop, Host& host, Output& output,
           Tracing* tracing) {
    Devices& devices = host.devices();
    Admission admission(loop, output, options.policy, [&](const std::string& port) { devices.retry(port); });
    devices.setGate(
        [&](const UsbDevice& device, const Verdict& verdict) { return admission.mayOffer(device, verdict); });
    UsbProvider provider(loop, {[&](const UsbDevice& device) { devices.seen(device); },
                                [&](const std::string& port) {
                                    admission.unplugged(port);
                                    devices.gone(port);
                                }});
    loop.watchSignals([&loop](int) { loop.quit(); });
    Timer end(loop, [&loop] { loop.quit(); });
    if (options.seconds)
        end.arm(static_cast<uint64_t>(*options.seconds * 1e6));

    Ending ending(host, provider);
    host.start(tracing != nullptr ? tracing->around(plugin.initialize()) : plugin.initialize(),
               options.properties);
    startProvider(provider, host, output);
    admission.startIsOver();
    loop.run([&] {
        host.beforeWait();
        if (tracing != nullptr)
            tracing->check();
        if (host.hasStopped() || output.broken())
            loop.quit();
    });
}

} // namespace

ExitStatus run(const RunOptions& options, std::FILE* out) {
    // A dry run asks no phone anything.
    std::optional<UsbLock> lock;
    if (!options.policy.dryRun)
        lock.emplace(Machine());
    Output output(out, options.json ? Output::Form::Json : plainFormFor(out));
    Loop loop;
    std::optional<Tracing> tracing;
    if (!options.trace.empty())
        tracing.emplace(TraceOptions{options.trace, options.usbTap}, output, loop);
    output.report(RunEvent{kJsonSchema, ZEBHOST_VERSION});
    Observers observers(loop, output, options.logLevel, options.properties);
    Host host(loop, output);
    host.setLogLevel(options.logLevel);
    host.devices().setPolicy(options.policy);
    warn(options, output);
    {
        Plugin plugin(options.plugin.empty() ? defaultPluginPath() : options.plugin);
        drive(options, plugin, loop, host, output, tracing ? &*tracing : nullptr);
    }
    if (tracing)
        tracing->check();
    host.conclude();
    std::string untraced = tracing ? tracing->failure() : "";
    if (!untraced.empty())
        complain(untraced);
    if (output.violations() > 0)
        return kExitViolation;
    return host.hasStopped() || output.broken() || !untraced.empty() ? kExitFailed : kExitDone;
}

} // namespace zebhost
