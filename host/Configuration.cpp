#include "host/Configuration.h"

#include "host/Nearest.h"
#include "host/PropertyAdvice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <toml++/toml.h>

namespace zebhost {

const char kStandardConfiguration[] = "/etc/zebhost.toml";

namespace {

/** What is wrong with a key's value is told by its row. */
struct WrongValue {
    const toml::node& where;
};

ConfigurationFault faultAt(const toml::source_region& where, const std::string& sentence) {
    return {where.begin.line, where.begin.column, sentence};
}

template <class T>
T value(const toml::node& node) {
    // Exactly this type: a text "true" is no truth value.
    std::optional<T> found = node.value_exact<T>();
    if (!found)
        throw WrongValue{node};
    return *found;
}

unsigned number(const toml::node& node) {
    auto found = value<int64_t>(node);
    if (found < 0 || found > 1000)
        throw WrongValue{node};
    return static_cast<unsigned>(found);
}

std::string text(const toml::node& node) { return value<std::string>(node); }

template <class Take>
void forEachText(const toml::node& node, Take take) {
    const toml::array* list = node.as_array();
    if (list == nullptr)
        throw WrongValue{node};
    for (const toml::node& element : *list)
        take(text(element), element);
}

std::vector<IdPattern> idPatterns(const toml::node& node) {
    std::vector<IdPattern> patterns;
    forEachText(node, [&patterns](const std::string& written, const toml::node& element) {
        std::optional<IdPattern> pattern = parseIdPattern(written);
        if (!pattern)
            throw WrongValue{element};
        patterns.push_back(*pattern);
    });
    return patterns;
}

std::string path(const toml::node& node) {
    std::string written = text(node);
    if (written.empty())
        throw WrongValue{node};
    return written;
}

std::vector<std::string> ports(const toml::node& node) {
    std::vector<std::string> names;
    forEachText(node, [&names](const std::string& written, const toml::node& element) {
        if (!isPortName(written))
            throw WrongValue{element};
        names.push_back(written);
    });
    return names;
}

void setLog(Settings& settings, const toml::node& node) {
    auto level = logLevels().find(text(node));
    if (level == logLevels().end())
        throw WrongValue{node};
    settings.logLevel = level->second;
}

void setProperties(Settings& settings, const toml::node& node) {
    const toml::table* table = node.as_table();
    if (table == nullptr)
        throw WrongValue{node};
    for (const auto& [key, property] : *table) {
        const auto& added = settings.properties.emplace_back(key.str(), text(property));
        if (std::optional<std::string> fault = propertyFault(added.first, added.second))
            throw faultAt(property.source(), *fault);
    }
}

struct Row {
    /** "" for the top. */
    const char* section;
    const char* key;
    const char* wants;
    void (*set)(Settings&, const toml::node&);
};

constexpr char kLevel[] = "one of \"fatal\", \"error\", \"info\", \"debug\"";
constexpr char kPath[] = "a path in quotes";
constexpr char kTexts[] = "a table of texts, for example { aapmodel = \"Bench\" }";
constexpr char kIds[] = "a list of \"VID\" or \"VID:PID\", for example [\"18d1\", \"18d1:4ee7\"]";
constexpr char kPorts[] = "a list of ports, for example [\"1-1.2\"]";
constexpr char kNumber[] = "a number from 0 to 1000";
constexpr char kTruth[] = "true or false";

const Row kRows[] = {
    {"", "log", kLevel, setLog},
    {"plugin", "path", kPath, [](Settings& s, const toml::node& n) { s.plugin = path(n); }},
    {"plugin", "properties", kTexts, setProperties},
    {"policy", "allow", kIds, [](Settings& s, const toml::node& n) { s.policy.allow = idPatterns(n); }},
    {"policy", "deny", kIds, [](Settings& s, const toml::node& n) { s.policy.deny = idPatterns(n); }},
    {"policy", "allow-ports", kPorts,
     [](Settings& s, const toml::node& n) { s.policy.allowPorts = ports(n); }},
    {"policy", "switch-tethers", kTruth,
     [](Settings& s, const toml::node& n) { s.policy.switchTethers = value<bool>(n); }},
    {"policy", "offer-all", kTruth,
     [](Settings& s, const toml::node& n) { s.policy.offerAll = value<bool>(n); }},
    {"policy", "max-switches", kNumber,
     [](Settings& s, const toml::node& n) { s.policy.maxSwitches = number(n); }},
    {"policy", "reset-stale", kTruth,
     [](Settings& s, const toml::node& n) { s.policy.resetStale = value<bool>(n); }},
};

std::string nameOf(const std::string& section) { return section.empty() ? "the file" : "[" + section + "]"; }

ConfigurationFault unknownKey(const toml::key& key, const std::string& section,
                              const std::vector<std::string>& allowed) {
    std::string sentence = "there is no \"" + std::string(key.str()) + "\" in " + nameOf(section);
    if (std::optional<std::string> close = nearest(std::string(key.str()), allowed))
        sentence += " (did you mean \"" + *close + "\"?)";
    std::string all;
    for (const std::string& name : allowed)
        all += (all.empty() ? "" : ", ") + name;
    return faultAt(key.source(), sentence + "; it may have: " + all);
}

/** The names that a section may have; at the top those of the sections as well. */
std::vector<std::string> allowedIn(const std::string& section) {
    std::vector<std::string> names;
    for (const Row& row : kRows) {
        const char* name = row.section == section ? row.key : section.empty() ? row.section : nullptr;
        if (name != nullptr && std::find(names.begin(), names.end(), name) == names.end())
            names.emplace_back(name);
    }
    return names;
}

void readSection(Settings& settings, const std::string& section, const toml::table& table);

void readKey(Settings& settings, const std::string& section, const toml::key& key, const toml::node& node) {
    auto row = std::find_if(std::begin(kRows), std::end(kRows),
                            [&](const Row& r) { return r.section == section && r.key == key.str(); });
    std::vector<std::string> allowed = allowedIn(section);
    if (row == std::end(kRows) && std::find(allowed.begin(), allowed.end(), key.str()) == allowed.end())
        throw unknownKey(key, section, allowed);
    if (row == std::end(kRows)) {
        if (!node.is_table())
            throw faultAt(node.source(), "\"" + std::string(key.str()) + "\" is a section: write [" +
                                             std::string(key.str()) + "] and its keys on the lines below");
        readSection(settings, std::string(key.str()), *node.as_table());
        return;
    }
    try {
        row->set(settings, node);
    } catch (const WrongValue& wrong) {
        throw faultAt(wrong.where.source(),
                      "\"" + std::string(row->key) + "\" in " + nameOf(section) + " wants " + row->wants);
    }
}

void readSection(Settings& settings, const std::string& section, const toml::table& table) {
    for (const auto& [key, node] : table)
        readKey(settings, section, key, node);
}

} // namespace

std::variant<Settings, ConfigurationFault> parseConfiguration(std::string_view written) try {
    Settings settings;
    readSection(settings, "", toml::parse(written));
    return settings;
} catch (const toml::parse_error& error) {
    return faultAt(error.source(), "this is no TOML: " + std::string(error.description()));
} catch (const ConfigurationFault& fault) {
    return fault;
}

namespace {

/** None when there is no such file. */
std::optional<std::string> contentOf(const std::string& path) try {
    std::ifstream file(path, std::ios::binary);
    if (!file && errno == ENOENT)
        return std::nullopt;
    if (!file)
        throw ConfigurationError("the configuration " + path + " can't be read: " + std::strerror(errno));
    return std::string{std::istreambuf_iterator<char>(file), {}};
} catch (const std::ios_base::failure&) {
    throw ConfigurationError("the configuration " + path + " can't be read: it is no file");
}

} // namespace

Settings readSettings(const std::optional<std::string>& asked, const std::string& standard) {
    const std::string path = asked.value_or(standard);
    std::optional<std::string> content = contentOf(path);
    if (!content && asked)
        throw ConfigurationError("there is no configuration " + path);
    auto read = parseConfiguration(content.value_or(""));
    if (const auto* fault = std::get_if<ConfigurationFault>(&read))
        throw ConfigurationError(path + ":" + std::to_string(fault->line) + ":" +
                                 std::to_string(fault->column) + ": " + fault->text);
    return std::get<Settings>(read);
}

} // namespace zebhost
