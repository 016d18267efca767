// A table of a TOML text, read strictly: each value by its key, with the type and the
// range that it must have; finish() complains of what nobody asked for. Every complaint
// is a std::runtime_error "FILE:LINE:COLUMN: ...", and says what is allowed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zebphones {

class TomlTable {
public:
    struct Range {
        std::int64_t lowest;
        std::int64_t highest;
    };
    struct Place;

    // The place is the document's, which must outlive the table.
    explicit TomlTable(Place place);
    ~TomlTable();
    TomlTable(TomlTable&& other) noexcept;
    TomlTable(const TomlTable&) = delete;
    TomlTable& operator=(const TomlTable&) = delete;

    bool has(const char* key);
    // Without an absent value the key must be there.
    std::string text(const char* key, std::optional<std::string> absent);
    std::int64_t number(const char* key, Range range, std::optional<std::int64_t> absent);
    bool flag(const char* key, std::optional<bool> absent);
    // The position among the choices.
    std::size_t oneOf(const char* key, std::span<const std::string_view> choices);
    TomlTable table(const char* key);
    // Every table of an array, in order; an absent array is empty.
    void forEach(const char* key, const std::function<void(TomlTable, std::size_t)>& read);

    // Throws for this key's value: "KEY complaint".
    [[noreturn]] void refuse(const char* key, const std::string& complaint) const;
    // Throws for the first key that was not asked for.
    void finish() const;

private:
    void allow(const char* key);

    std::unique_ptr<Place> mPlace;
    // What was asked for, in order.
    std::vector<std::string> mAllowed;
};

class TomlDocument {
public:
    TomlDocument(std::string_view text, const std::string& file);
    ~TomlDocument();
    TomlDocument(const TomlDocument&) = delete;
    TomlDocument& operator=(const TomlDocument&) = delete;

    TomlTable root() const;

private:
    struct Parsed;
    std::unique_ptr<Parsed> mParsed;
};

} // namespace zebphones
