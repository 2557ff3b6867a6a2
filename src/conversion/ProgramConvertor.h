#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "conversion/Placement.h"
#include "conversion/ProgramInterface.h"
#include "conversion/ProgramTarget.h"
#include "hsl/IShadingDagConvertor.h"

#include <memory>
#include <string>
#include <vector>

namespace qvShadingDag {

class ShadingNodeSpec;

/// How a function is converted: the target, the placement, and spellings that the host adds.
struct QV_EXPORT ConversionOptions : PlacementOptions {
    /// For `glsl330`.
    ConversionOptions() : ConversionOptions(ProgramTarget::glsl330()) {}
    /// The target is not copied and must live on.
    explicit ConversionOptions(const ProgramTarget& programTarget) : target(&programTarget) {}

    /// Says how a primitive is written: one of the host's own, or one of the language's in another
    /// way. `signature` has the types of all parameters, `text` is an expression with "$1" to "$9" for
    /// the inputs, "$*" for all of them and "$t" for the result's type in the target; `helper` are
    /// functions that it calls, written once in front of the program that uses it. A primitive with a
    /// second output has a spelling for that, too.
    ///
    ///     options.addSpelling("shade(float4,float)", "myShade($1, $2)",
    ///                         "vec4 myShade(vec4 c, float x) { return c * x; }\n");
    void addSpelling(const std::string& signature, const std::string& text, const std::string& helper = "",
                     int output = 0);

    /// A spelling as `addSpelling` was told it.
    struct Added {
        std::string signature; ///< of the primitive
        std::string text;      ///< the expression
        std::string helper;    ///< the functions that it calls
        int output = 0;        ///< the position of the output that it gives
    };

    const ProgramTarget* target;  ///< what is written
    std::vector<Added> spellings; ///< the last one for a signature holds
};

/// What a conversion made, for those who use it when the convertor is gone. Copies share it.
///
/// It refers to the called functions, which must stay in the library as long.
class QV_EXPORT ConvertedProgram {
public:
    struct Data; ///< the library's own

    /// Nothing converted.
    ConvertedProgram();
    /// Shares what a convertor made.
    explicit ConvertedProgram(std::shared_ptr<const Data> data);
    ConvertedProgram(const ConvertedProgram& other);
    ConvertedProgram& operator=(const ConvertedProgram& other);
    ~ConvertedProgram();

    /// What the pair asks of its host.
    const ProgramInterface& variables() const;
    /// Null when nothing is converted.
    const Data* data() const { return fData.get(); }

private:
    std::shared_ptr<const Data> fData;
};

/// Converts a function into a vertex and a fragment program for one of the targets that are a row of
/// `ProgramTarget`.
///
///     ConversionOptions options(ProgramTarget::glsl330());
///     ProgramConvertor convertor(*ShadingNodeSpec::findSpecInLibrary("litSurface"), options);
///     if (!convertor.convert()) return fail(convertor.errorString());
///     link(convertor.vertexProgram(), convertor.fragmentProgram());
///
/// The function is not owned and not changed. A second conversion replaces the first; one that fails
/// leaves nothing. Takes linear time in the expanded function.
class QV_EXPORT ProgramConvertor : public IShadingDagConvertor {
public:
    /// Nothing is read before `convert`.
    ProgramConvertor(const ShadingNodeSpec& function, ConversionOptions options = ConversionOptions());
    ProgramConvertor(const ProgramConvertor& other);
    ProgramConvertor& operator=(const ProgramConvertor& other);
    ~ProgramConvertor() override;

    /// Places the function and writes both programs; false when that cannot be done, with the reason
    /// in `errorString`.
    bool convert() override;
    /// Writes the function as `convert` placed it last for another target; false as above, and when
    /// nothing has been converted. What is written down of the function must not have changed.
    bool convertFor(const ProgramTarget& target);

    /// Both texts, each behind a line that names it; empty before a conversion.
    const qvString::CString conversionString() const override;
    /// Writes the same to a file; false without a conversion and when that fails.
    bool writeToFile(const qvString::CString& path) override;
    /// Forgets the conversion.
    void cleanup() override;

    /// The text of the vertex program; empty when there is none.
    const std::string& vertexProgram() const;
    /// The same of the fragment program.
    const std::string& fragmentProgram() const;
    /// Why the last conversion failed, naming file, function and what is at fault; else empty.
    const std::string& errorString() const { return fError; }
    /// Whether it is what the host asked for (options, a missing value) and not the function.
    bool optionsAtFault() const { return fOptionsAtFault; }
    /// What was left out of the last conversion, whole sentences: outputs that are none of a program.
    const std::vector<std::string>& notices() const;

    /// What the host must feed.
    const ProgramInterface& programInterface() const { return fProgram.variables(); }
    /// The same and what `HostUniforms` needs.
    const ConvertedProgram& program() const { return fProgram; }

    /// "lit_surface.qvs:9" for a line, counted from 1, of one of the texts; empty for a line that
    /// comes from no line of the source.
    std::string sourceOfLine(ProgramStage stage, unsigned int line) const;
    /// The messages of a compiler with the places in the text, "0:17" or "0(17)", replaced by those
    /// in the source. Places that come from no line of the source stay.
    std::string explainLog(const std::string& log, ProgramStage stage = kFragmentProgram) const;

private:
    bool write(const ProgramTarget& target);
    void fail(const std::string& message, bool optionsAtFault);

    const ShadingNodeSpec* fFunction;
    ConversionOptions fOptions;
    ConvertedProgram fProgram;
    std::string fError;
    bool fOptionsAtFault = false;
};

} // namespace qvShadingDag
