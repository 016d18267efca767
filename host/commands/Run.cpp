#include "host/Loop.h"
#include "host/Plugin.h"
#include "host/Replacement.h"
#include "host/Terminal.h"
#include "host/commands/Commands.h"
#include "host/report/Report.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace zebhost {
namespace {

/** A new file for a trace that nobody asked for, beside the report that is made of it. */
class OwnTrace {
public:
    explicit OwnTrace(const std::string& report) : mPath(behindLinks(report) + ".trace.XXXXXX") {
        int file = mkstemp(mPath.data());
        if (file < 0)
            throw HostError("the report " + report + " needs a trace beside it: " + std::strerror(errno));
        close(file);
    }
    ~OwnTrace() {
        if (!mIsKept)
            unlink(mPath.c_str());
    }
    OwnTrace(const OwnTrace&) = delete;
    OwnTrace& operator=(const OwnTrace&) = delete;

    const std::string& path() const { return mPath; }
    void keep() { mIsKept = true; }

private:
    std::string mPath;
    bool mIsKept = false;
};

ExitStatus wrong(const std::string& sentence) {
    complain(sentence);
    return kExitUsage;
}

/** The file that an output becomes, there or not. */
std::filesystem::path fileOf(const std::string& output) {
    return std::filesystem::absolute(behindLinks(output)).lexically_normal();
}

/** What is wrong with where the outputs of a run shall go; empty when nothing is. */
std::string faultOfOutputs(const RunOptions& options) {
    const std::pair<const char*, const std::string&> outputs[] = {{"--trace", options.trace},
                                                                  {"--report", options.report}};
    for (const auto& [option, path] : outputs) {
        bool isOurs = isSameFile(path, STDOUT_FILENO) || isSameFile(path, STDERR_FILENO);
        if (isOurs && !isNoRegularFile(path))
            return std::string(option) + " " + path + " is where the lines of this run go: name another file";
    }
    bool areBoth = !options.report.empty() && !options.trace.empty();
    if (areBoth &&
        (isSameFile(options.report, options.trace) || fileOf(options.report) == fileOf(options.trace)))
        return "--trace and --report name the same file " + options.report;
    return "";
}

/** Whether the page of a run could be written; says why not, and what is left. */
bool reportRun(const std::string& trace, const std::string& page) try {
    writeReport(trace, page);
    return true;
} catch (const HostError& error) {
    complain(std::string(error.what()) + "; the trace of the run is kept: zebhost report " + trace +
             " -o FILE.html");
    return false;
}

} // namespace

ExitStatus perform(const RunOptions& options, std::FILE* out) {
    if (std::string fault = faultOfOutputs(options); !fault.empty())
        return wrong(fault);
    // Before any thread, the plug-in's included.
    blockSignals();
    if (options.report.empty())
        return run(options, out);

    { const Replacement knownBeforeTheRun(options.report, "report"); }
    std::optional<OwnTrace> own;
    RunOptions traced = options;
    if (options.trace.empty())
        traced.trace = own.emplace(options.report).path();
    ExitStatus status = run(traced, out);
    if (reportRun(traced.trace, options.report))
        return status;
    if (own)
        own->keep();
    return status == kExitDone ? kExitFailed : status;
}

ExitStatus perform(const ReportOptions& options, std::FILE* out) {
    std::string page = options.page.empty() ? options.trace + ".html" : options.page;
    if (isSameFile(page, options.trace))
        return wrong("the page would take the place of its own trace " + page +
                     ": name another file with -o");
    if (isSameFile(page, STDOUT_FILENO)) {
        std::fputs(reportPage(options.trace).c_str(), out);
        return kExitDone;
    }
    writeReport(options.trace, page);
    std::fprintf(out, "wrote %s\n", printable(page).c_str());
    return kExitDone;
}

} // namespace zebhost
