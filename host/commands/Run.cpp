#include "host/Loop.h"
#include "host/commands/Commands.h"
#include "host/report/Report.h"

#include <filesystem>

namespace zebhost {

ExitStatus perform(const RunOptions& options, std::FILE* out) {
    // Before any thread, the plug-in's included.
    blockSignals();
    if (options.report.empty())
        return run(options, out);

    RunOptions traced = options;
    if (options.trace.empty())
        traced.trace = options.report + ".trace";
    ExitStatus status = run(traced, out);
    writeReport(traced.trace, options.report);
    if (options.trace.empty())
        std::filesystem::remove(traced.trace);
    return status;
}

ExitStatus perform(const ReportOptions& options, std::FILE* out) {
    std::string page = options.page.empty() ? options.trace + ".html" : options.page;
    writeReport(options.trace, page);
    std::fprintf(out, "wrote %s\n", page.c_str());
    return kExitDone;
}

} // namespace zebhost
