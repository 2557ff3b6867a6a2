#pragma once

#include "conversion/GlDriver.h"
#include "conversion/ProgramConvertor.h"
#include "conversion/ProofScene.h"
#include "conversion/ProofValues.h"

#include <string>
#include <vector>

namespace programTesting {

/// How a proof converts and draws a function.
struct ProofSettings {
    const ProgramTarget* target = &ProgramTarget::glsl330();
    PlacementPolicy policy = kExactPlacement;
    GlDraw::Shape shape = GlDraw::kPoints;
    std::map<std::string, unsigned int> levels; ///< of inputs, as in `PlacementOptions`
    unsigned seed = 1;                          ///< of the numbers
};

/// What proofs found out, to be summed up.
struct ProofCounts {
    int functions = 0; ///< or texts, or draws
    long compared = 0; ///< pixels
    long leftOut = 0;  ///< pixels that prove nothing
    double worst = 0;  ///< of the differences, relative to what is allowed
    std::string worstFunction;
};

/// The options for the settings, with the scene's numbers as values of constant inputs.
ConversionOptions optionsFor(const ProofSettings& settings, const ProofScene& scene);

/// Draws what was converted. Empty, or why it cannot be drawn. `program` may be linked already.
std::string drawConverted(GlDriver& driver, const ProgramConvertor& convertor, const ProofScene& scene,
                          GlPicture& picture);
/// The same for texts that were written without a convertor.
std::string drawTexts(GlDriver& driver, const ShaderPair& pair, const ProgramInterface& described,
                      const std::map<std::string, std::vector<double>>& hoisted, const ProofScene& scene,
                      GlPicture& picture);

/// Puts the colours that `ProgramEvaluator` draws into `values`. Pixels that are no numbers there are
/// left out, and all of them when a corner proves nothing.
void evaluateAsHardware(const ShadingNodeSpec& function, const PlacementOptions& options,
                        const ProofScene& scene, ProofValues& values);

/// Empty when a picture shows the values, or the first pixel that does not.
std::string difference(const ProofValues& values, const GlPicture& picture, ProofCounts& counts);

/// Converts, draws and compares. Empty, or what is wrong.
std::string proveDrawing(GlDriver& driver, const ShadingNodeSpec& function, const ProofSettings& settings,
                         ProofCounts& counts);

} // namespace programTesting
