#pragma once

#include "host/ExitStatus.h"
#include "host/Run.h"
#include "host/Settings.h"

#include <cstdio>
#include <string>

namespace zebhost {

// What each command was asked to do, and its doing. All but run end by themselves. They write to out,
// and throw HostError with a sentence when they can't do what was asked.

struct ListOptions : Settings {
    bool json = false;
};

struct ExplainOptions : Settings {
    bool json = false;
    /** As the user named it. */
    std::string device;
};

struct DoctorOptions : Settings {
    bool json = false;
    /** A folder that stands for the system's "/". */
    std::string root = "/";
};

struct PhonesOptions : Settings {
    bool json = false;
};

/** The demonstration takes this program's place. */
struct DemoOptions {
    /** Of the catalogue; empty: the whole play. */
    std::string phone;
};

struct VersionOptions : Settings {
    bool json = false;
};

struct ReportOptions {
    std::string trace;
    /** Empty: beside the trace. */
    std::string page;
};

ExitStatus perform(const RunOptions& options, std::FILE* out);
ExitStatus perform(const ListOptions& options, std::FILE* out);
ExitStatus perform(const ExplainOptions& options, std::FILE* out);
ExitStatus perform(const DoctorOptions& options, std::FILE* out);
ExitStatus perform(const PhonesOptions& options, std::FILE* out);
ExitStatus perform(const DemoOptions& options, std::FILE* out);
ExitStatus perform(const VersionOptions& options, std::FILE* out);
ExitStatus perform(const ReportOptions& options, std::FILE* out);

} // namespace zebhost
