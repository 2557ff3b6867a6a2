#include "Convert.h"

#include "Failure.h"
#include "Output.h"
#include "OutputFiles.h"
#include "Place.h"
#include "Values.h"

#include "conversion/HSLTextConvertor.h"
#include "conversion/HostUniforms.h"
#include "conversion/ProgramConvertor.h"

#include <cstdio>

using namespace qvShadingDag;

namespace {

const ProgramTarget& targetOf(const CommandLine& line) {
    return line.target ? *ProgramTarget::find(*line.target) : ProgramTarget::glsl330();
}

/// The interface, with the hoisted values that the values of the command line determine.
std::string interfaceText(const CommandLine& line, const ShadingNodeSpec& spec,
                          const ConvertedProgram& program) {
    HostUniforms host(program);
    for (const auto& [name, text] : line.values) {
        host.set(name, readValue(text, inputNamed(spec, name)));
    }
    ProgramInterface variables = program.variables();
    const std::vector<HostUniform>& uniforms = host.values();
    for (std::size_t i = 0; i < variables.hoisted.size(); ++i) {
        const HostUniform& uniform = uniforms[variables.uniforms.size() + i];
        if (uniform.known) {
            const auto& numbers = uniform.value.c;
            variables.hoisted[i].value.assign(numbers.begin(), numbers.begin() + uniform.value.width());
        }
    }
    return variables.toJson();
}

void writeTexts(const CommandLine& line, const ProgramTarget& target, const std::string& vertexText,
                const std::string& fragmentText) {
    OutputFiles files;
    if (line.stage != "fragment") {
        files.add(*line.outputFile + target.vertexEnding, vertexText);
    }
    if (line.stage != "vertex") {
        files.add(*line.outputFile + target.fragmentEnding, fragmentText);
    }
    files.commit();
}

template <class Convertor>
void convertWith(Convertor& convertor, const CommandLine& line, const ShadingNodeSpec& spec) {
    if (!convertor.convert()) {
        throw failure(convertor.optionsAtFault() ? kBadCommandLine : kBadFunction, convertor.errorString());
    }
    if (line.showInterface) {
        const std::string text = interfaceText(line, spec, convertor.program());
        if (line.outputFile) {
            OutputFiles files;
            files.add(*line.outputFile + ".json", text);
            files.commit();
        } else {
            print(text);
        }
    } else if (line.outputFile) {
        writeTexts(line, targetOf(line), convertor.vertexProgram(), convertor.fragmentProgram());
    } else if (!line.stage) {
        print(convertor.conversionString().asChar());
    } else {
        print(line.stage == "vertex" ? convertor.vertexProgram() : convertor.fragmentProgram());
    }
    for (const std::string& notice : convertor.notices()) {
        std::fputs(("qvshade: " + notice + "\n").c_str(), stderr);
    }
}

} // namespace

void convert(const CommandLine& line, const ShadingNodeSpec& spec) {
    ConversionOptions options(targetOf(line));
    static_cast<PlacementOptions&>(options) = placementOptions(line, spec);
    if (options.target->id == ProgramTarget::kCg) {
        HSLTextConvertor convertor(spec, options);
        convertWith(convertor, line, spec);
    } else {
        ProgramConvertor convertor(spec, options);
        convertWith(convertor, line, spec);
    }
}
