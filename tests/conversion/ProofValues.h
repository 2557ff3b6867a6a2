#pragma once

#include "conversion/ProofScene.h"
#include "evaluation/FlatProgram.h"

#include <vector>

namespace programTesting {

/// What a picture must show, from the kernels of the primitives.
struct ProofValues {
    /// The colours, four numbers for each pixel.
    std::vector<double> colours;
    /// How far rounding may take each number: the values of runs in which every float result is a little
    /// off, by what the driver's function may be.
    std::vector<double> spread;
    /// By pixel: some value on the way is no finite float, or rounding takes the colour far: it lies at a
    /// jump. Such pixels prove nothing.
    std::vector<char> leftOut;
};

/// How many differences between pixels lie on one way through a program.
int derivativeDepth(const FlatProgram& program);

/// The values of a flat program at the pixels of a scene.
ProofValues evaluateScene(const FlatProgram& program, const ProofScene& scene);

} // namespace programTesting
