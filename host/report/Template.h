#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace zebhost {

/**
 * A text with places to fill from values, a part of the language Mustache:
 *
 *   {{name}}                 the value, escaped for HTML text and attributes
 *   {{#name}}...{{/name}}    for each element of an array; once for an object or a true value
 *   {{^name}}...{{/name}}    when there is none of that
 *
 * Names are looked up in the innermost value first; {{.}} is the element itself. There is no way
 * to have a value unescaped: what a device calls itself stays text. Throws std::logic_error for a template
 * that is wrong.
 */
std::string render(std::string_view pattern, const nlohmann::json& values);

/** Text as it may stand in HTML, in an element or in a quoted attribute. Control characters, which
 *  HTML has no way to write, become U+FFFD. */
std::string escapeHtml(std::string_view text);

} // namespace zebhost
