#pragma once

#include "CommandLine.h"
#include "Maps.h"
#include "Values.h"

#include "evaluation/ShadingValue.h"
#include "evaluation/Texture.h"

#include <algorithm>
#include <string>
#include <vector>

/// What an input gets that nobody gave a value: 0.5 for components of float and clampu, 1 for int, true
/// for bool, the identity for matrices.
qvShadingDag::ShadingValue usualValue(DataType type);

/// Throws where the map named `text` cannot serve the kinds that it is read as: a picture is flat, no
/// volume and no cube can be looked up in it.
void checkMap(const std::string& name, const std::vector<qvShadingDag::TextureKind>& kinds,
              const std::string& text);

/// The same for all maps of the command line, for each input that an output depends on.
void checkMaps(const CommandLine& line, const qvShadingDag::ShadingNodeSpec& spec);

/// Says on standard error which inputs were not given.
void tellMissing(const std::vector<std::string>& names);

/// Gives the inputs of an evaluator (`GraphEvaluator` or `ProgramEvaluator`) their values: those of the
/// command line, those of the shape, which `setFromShape(input)` sets where it has one, and the usual
/// ones. Inputs that `isNeeded` refuses may stay without. Returns the names of those that got the
/// usual value.
template <typename Evaluator, typename Inputs, typename IsNeeded, typename SetFromShape>
std::vector<std::string> setInputs(const CommandLine& line, const qvShadingDag::ShadingNodeSpec& spec,
                                   Evaluator& evaluator, const Inputs& inputs, const IsNeeded& isNeeded,
                                   const SetFromShape& setFromShape) {
    for (const auto& [name, text] : line.values) {
        readValue(text, inputNamed(spec, name)); // also of inputs that nothing reads
    }
    checkMaps(line, spec);
    std::vector<std::string> missing;
    for (const auto& input : inputs) {
        const auto given = std::find_if(line.values.begin(), line.values.end(),
                                        [&](const auto& pair) { return pair.first == input.name; });
        const bool isMap = input.type == kTexObj;
        if (!isNeeded(input)) {
            continue;
        }
        if (given != line.values.end() && isMap) {
            evaluator.set(input.name, readMap(given->second));
        } else if (given != line.values.end()) {
            evaluator.set(input.name, readValue(given->second, inputNamed(spec, input.name)));
        } else if (!setFromShape(input)) {
            missing.push_back(input.name);
            if (isMap) {
                evaluator.set(input.name, qvShadingDag::checkerTexture());
            } else {
                evaluator.set(input.name, usualValue(input.type));
            }
        }
    }
    return missing;
}
