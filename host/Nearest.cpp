#include "host/Nearest.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

namespace zebhost {
namespace {

/** The distance of Levenshtein, row by row; two neighbours that changed places count once. */
size_t distance(std::string_view from, std::string_view to) {
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    std::vector<size_t> above, aboveThat;
    for (size_t i = 0; i < from.size(); ++i) {
        aboveThat = std::exchange(above, row);
        row[0] = i + 1;
        for (size_t k = 0; k < to.size(); ++k) {
            size_t replaced = above[k] + (from[i] == to[k] ? 0 : 1);
            row[k + 1] = std::min({replaced, row[k] + 1, above[k + 1] + 1});
            if (i > 0 && k > 0 && from[i] == to[k - 1] && from[i - 1] == to[k])
                row[k + 1] = std::min(row[k + 1], aboveThat[k - 1] + 1);
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
