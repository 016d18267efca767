// From plug to published on an emulated bus: zebhost, a phone that is plugged, switched and plugged again,
// and the command that connects to it. Prints for each round the microseconds that this takes beyond the two
// fixed waits of one second each; the emulated phone's own time is among them, its absence while it switches
// is not.
//
//   plug-to-published ROUNDS
#include "bench/support/BareHost.h"
#include "phones/Catalogue.h"
#include "phones/demo/HostProcess.h"
#include "phones/usbfs/Testbed.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <thread>

namespace {

using namespace std::chrono_literals;
using zebphones::UsbfsDevice;

constexpr int64_t kFixedWaitUs = 1'000'000;
constexpr auto kPatience = 5s;

int64_t nowUs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

/** The time on a line of zebhost's. */
int64_t timeOf(const std::string& line) {
    return std::strtoll(line.c_str() + line.find(':') + 1, nullptr, 10);
}

/** The processor time that a process has had. */
int64_t workedUs(pid_t process) {
    clockid_t clock{};
    timespec time{};
    clock_getcpuclockid(process, &clock);
    clock_gettime(clock, &time);
    return int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

/** When the phone was told to switch, to a tenth of a millisecond. */
int64_t awaitSwitch(UsbfsDevice& phone) {
    for (const int64_t end = nowUs() + 5 * kFixedWaitUs; nowUs() < end;) {
        if (phone.switchRequested())
            return nowUs();
        std::this_thread::sleep_for(100us);
    }
    throw std::runtime_error("the phone was not told to switch");
}

/** Each round with a host of its own: one leaves a phone alone that has to be switched again and again. */
void playRound(zebphones::Testbed& bed, const std::filesystem::path& folder) {
    std::string commandLine;
    zebphones::HostProcess host({folder / "zebhost", "run", "--json", "--plugin", zebbench::pluginPath()},
                                (folder / "libzebphones-preload.so").string() + ":libumockdev-preload.so.0",
                                [&commandLine](const std::string& line) {
                                    if (line.find("t=USBAAP") != std::string::npos)
                                        commandLine = line;
                                });
    if (!host.awaitLine("started", kPatience))
        throw std::runtime_error("zebhost did not start");
    const int64_t workBefore = workedUs(host.pid());
    const auto phone = bed.plug(zebphones::loadPhone("accessory"));
    const int64_t pluggedUs = nowUs();
    const int64_t switchedUs = awaitSwitch(*phone);
    bed.reappearInAccessoryMode(1);
    const int64_t backUs = nowUs();
    if (!host.awaitLine("t=USBAAP", kPatience))
        throw std::runtime_error("zebhost told no command");
    const int64_t first = switchedUs - pluggedUs - kFixedWaitUs;
    const int64_t second = timeOf(commandLine) - backUs - kFixedWaitUs;
    const int64_t work = workedUs(host.pid()) - workBefore;
    std::printf("%lld %lld\n", static_cast<long long>(first + second), static_cast<long long>(work));
    bed.unplug(1);
    host.awaitLine("destroyed", kPatience);
}

void play(int rounds, const std::filesystem::path& folder) {
    zebphones::Testbed bed;
    for (int round = 0; round < rounds; ++round)
        playRound(bed, folder);
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
        play(argc > 1 ? std::atoi(argv[1]) : 5, self.parent_path().parent_path());
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "plug-to-published: %s\n", e.what());
        return 1;
    }
}
