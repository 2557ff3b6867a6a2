#include "base/NearWords.h"

#include <algorithm>
#include <utility>

namespace qvString {

namespace {

/// The optimal string alignment distance, row by row along the diagonal (Damerau, 1964; Wagner and Fischer,
/// 1974).
class EditDistance {
public:
    /// The distance of `a` and `b`; `limit` when it is not below.
    std::size_t operator()(std::string_view a, std::string_view b, std::size_t limit) {
        if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) >= limit) {
            return limit;
        }
        for (std::vector<std::size_t>* row : {&fBeforeLast, &fLast, &fRow}) {
            row->assign(b.size() + 2, limit);
        }
        for (std::size_t j = 0; j < std::min(b.size() + 1, limit); ++j) {
            fLast[j] = j;
        }
        for (std::size_t i = 1; i <= a.size(); ++i) {
            // Farther from the diagonal the distance is at the limit.
            const std::size_t first = i < limit ? 1 : i - limit + 1;
            const std::size_t last = std::min(b.size(), i + limit - 1);
            fRow[first - 1] = first == 1 ? i : limit;
            for (std::size_t j = first; j <= last; ++j) {
                const bool same = a[i - 1] == b[j - 1];
                fRow[j] = std::min({fLast[j] + 1, fRow[j - 1] + 1, fLast[j - 1] + (same ? 0 : 1)});
                if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                    fRow[j] = std::min(fRow[j], fBeforeLast[j - 2] + 1);
                }
            }
            std::swap(fBeforeLast, fLast);
            std::swap(fLast, fRow);
        }
        return std::min(fLast[b.size()], limit);
    }

private:
    std::vector<std::size_t> fBeforeLast;
    std::vector<std::size_t> fLast;
    std::vector<std::size_t> fRow;
};

} // namespace

std::vector<std::string> nearWords(std::string_view word, const std::vector<std::string_view>& words,
                                   std::size_t most) {
    const std::size_t limit = word.size() < 5 ? 2 : word.size() < 9 ? 3 : 4;
    EditDistance distanceOf;
    std::vector<std::pair<std::size_t, std::string_view>> found;
    for (const std::string_view other : words) {
        const std::size_t distance = distanceOf(word, other, limit);
        if (distance < limit) {
            found.emplace_back(distance, other);
        }
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> result;
    for (std::size_t i = 0; i < std::min(most, found.size()); ++i) {
        result.emplace_back(found[i].second);
    }
    return result;
}

} // namespace qvString
