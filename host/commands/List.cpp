#include "host/NodeAccess.h"
#include "host/PluggedDevices.h"
#include "host/Terminal.h"
#include "host/commands/Commands.h"
#include "host/commands/Json.h"

#include <algorithm>
#include <array>

namespace zebhost {
namespace {

constexpr size_t kColumns = 5;

struct Row {
    /** Port, bus and number, ids, name; the last one has no width. */
    std::array<std::string, kColumns> cells;
    Colour colour;
};

Row rowOf(const UsbDevice& device, const Verdict& verdict, const DeviceNode& node) {
    std::string name = device.productName.empty() ? "(no name)" : printable(device.productName);
    return {{device.port, device.number(), device.vendorId() + ":" + device.productId(), name,
             printable(standing(verdict, node))},
            verdict.isOffered ? Colour::Good : Colour::None};
}

void showAligned(const std::vector<Row>& rows, bool colours, std::FILE* out) {
    std::array<size_t, kColumns> widths{};
    for (const Row& row : rows) {
        for (size_t i = 0; i + 1 < kColumns; ++i)
            widths[i] = std::max(widths[i], shownWidth(row.cells[i]));
    }
    for (const Row& row : rows) {
        std::string line;
        for (size_t i = 0; i + 1 < kColumns; ++i)
            line += row.cells[i] + std::string(widths[i] - shownWidth(row.cells[i]) + 2, ' ');
        std::fprintf(out, "%s%s\n", line.c_str(), painted(row.cells.back(), row.colour, colours).c_str());
    }
}

} // namespace

ExitStatus perform(const ListOptions& options, std::FILE* out) {
    const std::vector<UsbDevice> devices = pluggedDevices();
    std::vector<Row> rows = {{{"PORT", "BUS/DEV", "VID:PID", "NAME", "TO THE PLUG-IN"}, Colour::None}};
    for (const UsbDevice& device : devices) {
        Verdict verdict = judge(device, options.policy);
        DeviceNode node = deviceNode(Machine(), device.bus, device.device);
        if (options.json)
            std::fprintf(out, "%s\n", jsonOf(device, verdict, node).c_str());
        rows.push_back(rowOf(device, verdict, node));
    }
    if (options.json)
        return kExitDone;
    if (devices.empty())
        std::fprintf(out, "No USB device is plugged in. If there should be one: zebhost doctor\n");
    else
        showAligned(rows, coloursWanted(out), out);
    return kExitDone;
}

} // namespace zebhost
