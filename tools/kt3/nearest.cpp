// SPDX-License-Identifier: MIT
#include "kt3/nearest.hpp"

#include <algorithm>
#include <utility>

namespace kt3::cli {

std::size_t typing_distance(std::string_view one, std::string_view other) {
    std::vector<std::vector<std::size_t>> cost(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    for (std::size_t at = 0; at <= one.size(); ++at) {
        cost[at][0] = at;
    }
    for (std::size_t at = 0; at <= other.size(); ++at) {
        cost[0][at] = at;
    }
    for (std::size_t i = 1; i <= one.size(); ++i) {
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t changed = cost[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, changed});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[one.size()][other.size()];
}

std::vector<std::string> nearest_names(std::string_view word, const std::vector<std::string>& names) {
    constexpr std::size_t kMost = 3;
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string& name : names) {
        const bool begins_it = word.size() >= 2 && name.starts_with(word);
        const std::size_t distance = begins_it ? 0 : typing_distance(word, name);
        if (distance <= std::max(word.size(), name.size()) / 3) {
            near.emplace_back(distance, name);
        }
    }
    std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    near.resize(std::min(near.size(), kMost));
    std::vector<std::string> nearest;
    nearest.reserve(near.size());
    for (auto& [distance, name] : near) {
        nearest.push_back(std::move(name));
    }
    return nearest;
}

std::string did_you_mean(std::string_view word, const std::vector<std::string>& names) {
    const std::vector<std::string> near = nearest_names(word, names);
    std::string text;
    for (std::size_t at = 0; at < near.size(); ++at) {
        text += (at == 0 ? "did you mean " : at + 1 == near.size() ? " or " : ", ") + near[at];
    }
    return text.empty() ? text : text + "?";
}

} // namespace kt3::cli
