#include "host/NodeAccess.h"
#include "host/Output.h"
#include "host/PluggedDevices.h"
#include "host/Plugin.h"
#include "host/Terminal.h"
#include "host/commands/Commands.h"
#include "host/commands/Json.h"
#include "host/explain/Explanation.h"

#include <algorithm>

namespace zebhost {
namespace {

/** "001/005" names bus and number, as the node's path does; so does "1:5". Anything else is a port. */
bool isNamed(const UsbDevice& device, const std::string& name) {
    int bus = 0, number = 0, length = 0;
    char between = 0;
    if (std::sscanf(name.c_str(), "%d%c%d%n", &bus, &between, &number, &length) == 3 &&
        static_cast<size_t>(length) == name.size() && (between == '/' || between == ':'))
        return bus == device.bus && number == device.device;
    return name == device.port;
}

UsbDevice find(const std::string& name) {
    const std::vector<UsbDevice> devices = pluggedDevices();
    auto found = std::find_if(devices.begin(), devices.end(),
                              [&name](const UsbDevice& device) { return isNamed(device, name); });
    if (found != devices.end())
        return *found;
    std::string ports;
    for (const UsbDevice& device : devices)
        ports += " " + device.port;
    throw HostError("there is no device \"" + name +
                    "\": give BUS/DEV or a port, as \"zebhost list\" shows them" +
                    (ports.empty() ? "; nothing is plugged in" : "; there is something at" + ports));
}

class Page {
public:
    explicit Page(std::FILE* out) : mpOut(out), mColours(coloursWanted(out)) {}

    void line(const char* label, const std::string& text, Colour colour = Colour::None) {
        std::fprintf(mpOut, "  %-11s%s\n", label, painted(printable(text), colour, mColours).c_str());
    }
    void head(const std::string& text) {
        std::fprintf(mpOut, "%s\n", painted(printable(text), Colour::Notable, mColours).c_str());
    }

private:
    std::FILE* mpOut;
    bool mColours;
};

void showInterfaces(const Explanation& e, Page& page) {
    if (e.interfaces.empty())
        page.line("shows", "no active interface");
    for (const ExplainedInterface& i : e.interfaces)
        page.line(&i == &e.interfaces.front() ? "shows" : "",
                  "interface " + std::to_string(i.interface.number) + ": " + i.words + " (" +
                      std::to_string(i.interface.interfaceClass) + "/" +
                      std::to_string(i.interface.subclass) + "/" + std::to_string(i.interface.protocol) +
                      ")" + (i.driver.empty() ? "" : ", driver " + i.driver));
}

std::string inWords(const Opinion& opinion) {
    if (!opinion.fault.empty())
        return "could not be asked: " + opinion.fault;
    if (opinion.level >= ZEBDeviceInterestNone)
        return "does not want it";
    std::string words = interestInWords(opinion.description);
    return "would take it, with interest " + std::to_string(opinion.level) + " (10 is strongest, 100 none)" +
           (words.empty() ? "" : ": " + words);
}

std::string inWords(const Network& network) {
    std::string addresses;
    for (const std::string& address : network.addresses)
        addresses += " " + address;
    return network.name + (addresses.empty() ? " without an address" : " with" + addresses);
}

void show(const Explanation& e, Page page) {
    const UsbDevice& device = e.device;
    page.head(device.name() + ", " + device.vendorId() + ":" + device.productId() + ", " + device.number());
    showInterfaces(e, page);
    page.line("node", e.node.path +
                          (!e.node.exists       ? " is missing"
                           : e.node.canBeOpened ? " can be opened"
                                                : " can't be opened") +
                          (e.node.rights.empty() ? "" : " (" + e.node.rights + ")"));
    page.line("policy", standing(e.verdict, e.node), e.verdict.isOffered ? Colour::Good : Colour::None);
    page.line("plug-in", inWords(e.opinion));
    for (const Network& network : e.networks)
        page.line("network", inWords(network));
    for (const std::string& step : e.next)
        page.line(&step == &e.next.front() ? "next" : "", step, Colour::Notable);
}

} // namespace

ExitStatus perform(const ExplainOptions& options, std::FILE* out) {
    const Explanation explanation = explain(find(options.device), options, Machine());
    if (options.json)
        std::fprintf(out, "%s\n", jsonOf(explanation).c_str());
    else
        show(explanation, Page(out));
    return kExitDone;
}

} // namespace zebhost
