#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "conversion/ProgramConvertor.h"
#include "hsl/HSLConvertor.h"

#include <string>
#include <vector>

namespace qvShadingDag {

class ShadingNodeSpec;

/// Converts a function into the blocks of program text that `HSLConvertor` owns: connectors, uniforms
/// and both programs, filled with instructions.
///
///     HSLTextConvertor convertor(*ShadingNodeSpec::findSpecInLibrary("litSurface"));
///     if (!convertor.convert()) return fail(convertor.errorString());
///     std::cout << convertor.vertexProgram() << convertor.fragmentProgram();
///
/// Places the function as `ProgramConvertor` does. A clampu is a float of its width in the text;
/// uniforms and varyings of int and bool, which the blocks cannot declare, are refused by name.
/// Without a position of its own the function is drawn at the connector's `vertexPosition`.
class QV_EXPORT HSLTextConvertor : public HSLConvertor {
public:
    /// Nothing is read before `convert`.
    HSLTextConvertor(const ShadingNodeSpec& function, ConversionOptions options = ConversionOptions());
    HSLTextConvertor(const HSLTextConvertor&) = delete;
    HSLTextConvertor& operator=(const HSLTextConvertor&) = delete;
    ~HSLTextConvertor() override;

    /// Places the function and fills the blocks; false when that cannot be done, with the reason in
    /// `errorString`. The target of the options is not read.
    bool convert() override;
    /// Both texts, each behind a line that names it; empty before a conversion.
    const qvString::CString conversionString() const override;
    /// Writes the same to a file; false without a conversion and when that fails.
    bool writeToFile(const qvString::CString& path) override;
    /// Forgets the conversion.
    void cleanup() override;

    /// The functions that the program calls, its connectors and the program; empty when there is none.
    const std::string& vertexProgram() const { return fTexts[kVertexProgram]; }
    /// The same for the fragment program.
    const std::string& fragmentProgram() const { return fTexts[kFragmentProgram]; }
    /// Why the last conversion failed; else empty.
    const std::string& errorString() const { return fError; }
    /// Whether it is what the host asked for and not the function.
    bool optionsAtFault() const { return fOptionsAtFault; }
    /// What was left out of the last conversion, whole sentences.
    const std::vector<std::string>& notices() const { return fNotices; }
    /// What the host must feed.
    const ProgramInterface& programInterface() const { return fProgram.variables(); }
    /// The same and what `HostUniforms` needs.
    const ConvertedProgram& program() const { return fProgram; }

private:
    struct Work;

    void fill();
    void declareConnectors(const Work& work);
    void declareUniforms(const Work& work, ProgramStage stage);
    void addInstructions(const Work& work, ProgramStage stage);

    const ShadingNodeSpec* fFunction;
    ConversionOptions fOptions;
    ConvertedProgram fProgram;
    std::string fTexts[2];
    std::vector<std::string> fNotices;
    std::string fError;
    bool fOptionsAtFault = false;
};

} // namespace qvShadingDag
