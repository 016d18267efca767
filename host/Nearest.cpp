#include "host/Nearest.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace zebhost {
namespace {

/** The distance of Levenshtein, row by row. */
size_t distance(std::string_view from, std::string_view to) {
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < from.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t k = 0; k < to.size(); ++k) {
            size_t replaced = diagonal + (from[i] == to[k] ? 0 : 1);
            diagonal = row[k + 1];
            row[k + 1] = std::min({replaced, row[k] + 1, diagonal + 1});
        }
    }
    return row.back();
}

} // namespace

std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& names) {
    auto closest = std::min_element(names.begin(), names.end(), [&word](const auto& a, const auto& b) {
        return distance(word, a) < distance(word, b);
    });
    if (closest == names.end() || distance(word, *closest) > std::max<size_t>(1, word.size() / 3))
        return std::nullopt;
    return *closest;
}

} // namespace zebhost
