#include "host/report/Template.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

namespace zebhost {
namespace {

using Json = nlohmann::json;
/** The values in which names are looked up, the innermost last. */
using Scope = std::vector<const Json*>;

struct Tag {
    char kind;
    std::string_view name;
};

bool isGiven(const Json* value) {
    return value != nullptr && !value->is_null() && *value != Json(false) && *value != Json("") &&
           !((value->is_array() || value->is_object()) && value->empty());
}

const Json* find(const Scope& scope, std::string_view name) {
    if (name == ".")
        return scope.back();
    for (auto level = scope.rbegin(); level != scope.rend(); ++level) {
        if ((*level)->is_object()) {
            if (auto found = (*level)->find(name); found != (*level)->end())
                return &*found;
        }
    }
    return nullptr;
}

std::string textOf(const Json* value) {
    if (value == nullptr || value->is_null())
        return "";
    return value->is_string() ? value->get<std::string>() : value->dump();
}

class Renderer {
public:
    explicit Renderer(std::string_view pattern) : mRest(pattern) {}

    /** Up to the end of the section of this name, which is taken too; an empty name: to the end of all. With
     *  no output wanted the part is only skipped. */
    void part(std::string_view section, Scope& scope, std::string* out) {
        while (true) {
            size_t tagAt = mRest.find("{{");
            if (out != nullptr)
                out->append(mRest.substr(0, tagAt));
            if (tagAt == std::string_view::npos) {
                if (!section.empty())
                    throw std::logic_error("a section has no end: " + std::string(section));
                return;
            }
            mRest.remove_prefix(tagAt);
            Tag tag = takeTag();
            if (tag.kind == '/') {
                if (tag.name != section)
                    throw std::logic_error("a section ends that is not open: " + std::string(tag.name));
                return;
            }
            if (tag.kind != ' ')
                sectionOf(tag, scope, out);
            else if (out != nullptr)
                out->append(escapeHtml(textOf(find(scope, tag.name))));
        }
    }

private:
    Tag takeTag() {
        size_t end = mRest.find("}}");
        if (end == std::string_view::npos)
            throw std::logic_error("a tag has no end");
        std::string_view inside = mRest.substr(2, end - 2);
        mRest.remove_prefix(end + 2);
        bool isPlain = inside.empty() || std::string_view("#^/").find(inside[0]) == std::string_view::npos;
        return isPlain ? Tag{' ', inside} : Tag{inside[0], inside.substr(1)};
    }

    void sectionOf(const Tag& tag, Scope& scope, std::string* out) {
        const Json* value = find(scope, tag.name);
        const std::string_view begin = mRest;
        if (out == nullptr || isGiven(value) == (tag.kind == '^'))
            return part(tag.name, scope, nullptr);
        if (tag.kind == '^' || !value->is_array()) {
            scope.push_back(tag.kind == '#' && value->is_object() ? value : scope.back());
            part(tag.name, scope, out);
            scope.pop_back();
            return;
        }
        for (const Json& element : *value) {
            mRest = begin;
            scope.push_back(&element);
            part(tag.name, scope, out);
            scope.pop_back();
        }
    }

    std::string_view mRest;
};

} // namespace

std::string render(std::string_view pattern, const Json& values) {
    std::string out;
    Scope scope{&values};
    Renderer(pattern).part("", scope, &out);
    return out;
}

std::string escapeHtml(std::string_view text) {
    std::string escaped;
    for (char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            bool isControl = (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') || c == 0x7f;
            escaped += isControl ? "\xef\xbf\xbd" : std::string(1, c);
        }
    }
    return escaped;
}

} // namespace zebhost
