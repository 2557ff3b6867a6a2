#pragma once

#include "base/Export.h"

#include <string>

namespace qvShadingDag {

class ShadingNodeSpec;

/// The graph of a function as a `digraph` in the DOT language of Graphviz.
///
/// Inputs and outputs are boxes, constants diamonds, calls ellipses (operators circles); nodes are
/// identified by their numbers. With `showTypes`, links from calls and constants are labelled with
/// the type they carry, and with `showCompFreqs` in addition with their frequency range;
/// `showCompFreqs` alone has no effect.
///
/// On purpose: nothing is escaped, so that the name of an operator function must be quoted before
/// Graphviz reads the text.
///
/// A declared primitive has no graph: the result is an empty digraph. A null pointer gives an empty
/// string.
QV_EXPORT std::string convertToGraphviz(ShadingNodeSpec* spec, bool showTypes, bool showCompFreqs);

/// The graph of the first function of that name in the library; an empty string when there is none.
QV_EXPORT std::string convertToGraphviz(const std::string& functionName, bool showTypes, bool showCompFreqs);

} // namespace qvShadingDag
