#include "phones/TomlTable.h"

#include <algorithm>
#include <stdexcept>
#include <toml++/toml.h>
#include <utility>

namespace zebphones {
namespace {

template <class Words>
std::string joined(const Words& words) {
    std::string text;
    for (const auto& word : words)
        text.append(text.empty() ? "" : ", ").append(word);
    return text;
}

[[noreturn]] void fail(const std::string& file, const toml::source_position& at, const std::string& what) {
    throw std::runtime_error(file + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " +
                             what);
}

} // namespace

struct TomlTable::Place {
    const toml::table* table;
    // Of the table, as a complaint names it; empty: the top.
    std::string path;
    const std::string* file;

    std::string where() const { return path.empty() ? "at the top" : "in [" + path + "]"; }
    std::string pathOf(const char* key) const { return path.empty() ? key : path + "." + key; }

    [[noreturn]] void wrong(const toml::node& node, const char* key, const std::string& wanted) const {
        fail(*file, node.source().begin, std::string("\"") + key + "\" must be " + wanted);
    }
    // Null: it is not there, and need not be.
    const toml::node* find(const char* key, bool needed) const {
        const toml::node* node = table->get(key);
        if (!node && needed)
            fail(*file, table->source().begin, std::string("\"") + key + "\" is missing " + where());
        return node;
    }
};

TomlTable::TomlTable(Place place) : mPlace(std::make_unique<Place>(std::move(place))) {}

TomlTable::~TomlTable() = default;

TomlTable::TomlTable(TomlTable&& other) noexcept = default;

void TomlTable::allow(const char* key) {
    if (mAllowed.empty() || mAllowed.back() != key)
        mAllowed.emplace_back(key);
}

bool TomlTable::has(const char* key) {
    allow(key);
    return mPlace->table->contains(key);
}

std::string TomlTable::text(const char* key, std::optional<std::string> absent) {
    allow(key);
    const toml::node* node = mPlace->find(key, !absent);
    if (!node)
        return *absent;
    if (!node->is_string())
        mPlace->wrong(*node, key, "a text in quotes");
    return node->as_string()->get();
}

std::int64_t TomlTable::number(const char* key, Range range, std::optional<std::int64_t> absent) {
    allow(key);
    const toml::node* node = mPlace->find(key, !absent);
    if (!node)
        return *absent;
    const auto* number = node->as_integer();
    if (!number || number->get() < range.lowest || number->get() > range.highest) {
        mPlace->wrong(*node, key,
                      "a whole number from " + std::to_string(range.lowest) + " to " +
                          std::to_string(range.highest));
    }
    return number->get();
}

bool TomlTable::flag(const char* key, std::optional<bool> absent) {
    allow(key);
    const toml::node* node = mPlace->find(key, !absent);
    if (!node)
        return *absent;
    if (!node->is_boolean())
        mPlace->wrong(*node, key, "true or false");
    return node->as_boolean()->get();
}

std::size_t TomlTable::oneOf(const char* key, std::span<const std::string_view> choices) {
    const auto found = std::find(choices.begin(), choices.end(), text(key, std::nullopt));
    if (found == choices.end())
        mPlace->wrong(*mPlace->table->get(key), key, "one of: " + joined(choices));
    return static_cast<std::size_t>(found - choices.begin());
}

TomlTable TomlTable::table(const char* key) {
    allow(key);
    const toml::node* node = mPlace->find(key, true);
    if (!node->is_table())
        mPlace->wrong(*node, key, std::string("a table, [") + mPlace->pathOf(key) + "]");
    return TomlTable({node->as_table(), mPlace->pathOf(key), mPlace->file});
}

void TomlTable::forEach(const char* key, const std::function<void(TomlTable, std::size_t)>& read) {
    allow(key);
    const toml::node* node = mPlace->find(key, false);
    if (!node)
        return;
    if (!node->is_array())
        mPlace->wrong(*node, key, "an array of tables");
    const toml::array& rows = *node->as_array();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!rows[i].is_table())
            mPlace->wrong(rows[i], key, "an array of tables");
        read(TomlTable({rows[i].as_table(), mPlace->pathOf(key), mPlace->file}), i);
    }
}

void TomlTable::refuse(const char* key, const std::string& complaint) const {
    const toml::node* node = mPlace->table->get(key);
    const toml::node& at = node ? *node : *mPlace->table;
    fail(*mPlace->file, at.source().begin, std::string("\"") + key + "\" " + complaint);
}

void TomlTable::finish() const {
    for (const auto& [key, node] : *mPlace->table) {
        if (std::find(mAllowed.begin(), mAllowed.end(), key.str()) == mAllowed.end()) {
            fail(*mPlace->file, key.source().begin,
                 "unknown key \"" + std::string(key.str()) + "\" " + mPlace->where() +
                     "; allowed: " + joined(mAllowed));
        }
    }
}

struct TomlDocument::Parsed {
    std::string file;
    toml::table table;
};

TomlDocument::TomlDocument(std::string_view text, const std::string& file) {
    try {
        mParsed = std::make_unique<Parsed>(Parsed{file, toml::parse(text, file)});
    } catch (const toml::parse_error& error) {
        fail(file, error.source().begin, std::string(error.description()));
    }
}

TomlDocument::~TomlDocument() = default;

TomlTable TomlDocument::root() const { return TomlTable({&mParsed->table, "", &mParsed->file}); }

} // namespace zebphones
