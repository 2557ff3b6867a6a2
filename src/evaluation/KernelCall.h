#pragma once

/// @file
/// How kernels are called; not for hosts.

#include "evaluation/FlatProgram.h"
#include "evaluation/Primitives.h"
#include "evaluation/ShadingValue.h"
#include "evaluation/Texture.h"

#include <cstddef>

namespace qvShadingDag {

/// How many points a kernel takes at once: as many as let the columns at work stay in the processor's
/// first cache, and enough to outweigh the call. A multiple of the four points of a quad.
constexpr std::size_t kMaxPoints = 128;

/// An argument at many points: a column of numbers per component.
struct KernelOperand {
    const double* const* columns = nullptr;
    int width = 0;          ///< how many columns
    std::size_t stride = 1; ///< 0 where the same value holds at every point

    double at(int component, std::size_t point) const { return columns[component][point * stride]; }
};

/// One call of a primitive at up to kMaxPoints points.
struct KernelCall {
    const KernelOperand* arguments = nullptr;
    int argumentCount = 0;
    double* const* results = nullptr; ///< a column per component, the outputs one after the other;
                                      ///< none is an argument's
    int resultWidth = 0;              ///< of the first output
    bool clampsResult = false;        ///< the first output is a clampu
    const Texture* texture = nullptr; ///< of a lookup; its first argument has no columns
};

/// How a primitive's result consists of components of its arguments, where it is nothing else.
enum class View {
    kNone,      ///< it is computed
    kSame,      ///< the argument
    kJoin,      ///< all components, one after the other
    kRepeat,    ///< one component, again and again
    kSwizzle,   ///< as the second argument says
    kRow,       ///< as the second argument says
    kColumn,    ///< as the second argument says
    kTranspose, ///< of a matrix
};
View viewOf(const Primitive& primitive);

/// The place that an index names among `size`; the nearest one where it names none.
int placeOf(double index, int size);

/// The rows of a matrix of so many components.
inline int sideOfMatrix(int width) {
    return width == 4 ? 2 : width == 9 ? 3 : 4;
}

/// The value of a call of a primitive at a single point: derivatives are 0. False, and nothing is
/// written, when there is no kernel and for lookups. `results` must hold as many values as the call
/// has outputs, with their types set.
bool computeCall(const FlatProgram::Callee& callee, const ShadingValue* arguments, ShadingValue* results,
                 std::size_t resultCount);

} // namespace qvShadingDag
