#pragma once

#include "base/Export.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvString {

/// The words among `words` that look like `word` with a typing error or two, nearest first and
/// otherwise in their order; at most `most`. For hints: "did you mean ...?".
///
/// A short word may differ in one letter that is added, left out, changed or swapped with its
/// neighbour, one of five letters in two and one of nine in three. Takes linear time in the lengths
/// of the words.
QV_EXPORT std::vector<std::string> nearWords(std::string_view word,
                                             const std::vector<std::string_view>& words, std::size_t most);

} // namespace qvString
