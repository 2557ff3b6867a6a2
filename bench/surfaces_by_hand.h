#pragma once

#include <cstddef>

/// The surfaces of surfaces.qvs as loops in double precision, as one writes them where no evaluator
/// is at hand. Compiled twice, as the two namespaces.
///
/// `points` are the columns of the inputs that differ from point to point, floats as vertex data has
/// them; `uniforms` the numbers of
/// the others, both in the order of the function's header.
using SurfaceLoop = void (*)(const float* const* points, const double* uniforms, double* const* results,
                             std::size_t count);

struct SurfacesByHand {
    SurfaceLoop highlight;
    SurfaceLoop metal;
    SurfaceLoop matt;
    SurfaceLoop tones;
    SurfaceLoop landscape;
    SurfaceLoop wall;
    SurfaceLoop cloth;
};

namespace plain { // -O2
extern const SurfacesByHand surfaces;
}
namespace native { // -O3 -march=native
extern const SurfacesByHand surfaces;
}
