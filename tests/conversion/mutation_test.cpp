// Whether the proofs would notice what they are there for: kernels, affine sets and spellings are put
// wrong row by row, and the drawn picture must differ from the values.

#include "conversion/PlacementPasses.h"
#include "conversion/ProgramWriter.h"
#include "conversion/ProofFunctions.h"
#include "conversion/ProofRun.h"
#include "conversion/Spellings.h"
#include "core/Exception.h"
#include "evaluation/KernelCall.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

using namespace programTesting;

namespace {

struct Tally {
    int mutants = 0;
    int noticed = 0;
    std::string missed;

    void add(bool isNoticed, const std::string& what) {
        ++mutants;
        noticed += isNoticed;
        missed += isNoticed ? "" : "  " + what + "\n";
    }
    void check(const char* what) const {
        std::printf("%s: %d of %d mutants noticed\n%s", what, noticed, mutants, missed.c_str());
        EXPECT_GT(mutants, 50);
        EXPECT_GE(noticed, 0.95 * mutants) << what;
    }
};

// One primitive in a function, with the picture that its program draws.
struct Subject {
    const ShadingNodeSpec* spec;
    const Primitive* primitive;
    std::unique_ptr<ShadingNodeSpec> function;
    FlatProgram flat;
    std::vector<ProofScene> scenes;
    std::vector<GlPicture> pictures;
};

std::vector<DataType> inputTypes(const ShadingNodeSpec& spec) {
    std::vector<DataType> types;
    ShadingNodeSpec::AttributeIterator first, last;
    for (spec.inputs(first, last); first != last; ++first) {
        types.push_back(first->dataType());
    }
    return types;
}

bool isFlat(DataType type) {
    return type == kBool || (type >= kInt && type <= kInt4);
}

GlDriver* driver() {
    GlDriver* found = GlDriver::get();
    EXPECT_NE(found, nullptr) << GlDriver::whyMissing();
    return found;
}

std::vector<Subject> makeSubjects(GlDriver& gl) {
    std::vector<Subject> subjects;
    for (const ShadingNodeSpec* spec : standardLibrary()) {
        if (spec->nodeType() != kOperationNode) {
            continue;
        }
        Subject subject{spec, findPrimitive(*spec), wrap(*spec, takesMatrices(*spec)).build(), {}, {}, {}};
        subject.flat = flatten(*subject.function);
        for (const unsigned seed : {1, 3}) {
            ProofSettings settings;
            const bool derivative = derivativeDepth(subject.flat) > 0;
            const ProofScene scene(*subject.function, derivative ? GlDraw::kTriangles : GlDraw::kPoints,
                                   seed);
            ProgramConvertor convertor(*subject.function, optionsFor(settings, scene));
            GlPicture picture;
            const std::string fault =
                convertor.convert() ? drawConverted(gl, convertor, scene, picture) : convertor.errorString();
            EXPECT_EQ(fault, "") << signature(*spec);
            subject.scenes.push_back(scene);
            subject.pictures.push_back(picture);
        }
        subjects.push_back(std::move(subject));
    }
    return subjects;
}

bool differs(const Subject& subject, std::size_t i, const FlatProgram& flat, const GlPicture& picture) {
    ProofCounts counts;
    return !difference(evaluateScene(flat, subject.scenes[i]), picture, counts).empty();
}

// ---- Mutants that change nothing ----

// Swapping the first two arguments; a clamp takes the larger of its first two.
bool isSymmetric(const std::string& name, DataType first) {
    static const std::set<std::string> kSymmetric = {
        "operator+", "operator*", "operator==", "operator!=", "operator&&", "operator||",
        "min",       "max",       "clamp",      "dot",        "distance"};
    return kSymmetric.contains(name) && !(name == "operator*" && first >= kMatrix2);
}

// All numbers that are compared are finite, so that these give the same everywhere.
bool asksForFinite(const std::string& name) {
    return name == "isfinite" || name == "isinf" || name == "isnan";
}

// No program text holds them: they only move a value, or are gone before a text is written.
bool onlyMoves(const std::string& name) {
    static const std::set<std::string> kMoves = {"constant", "uniform",   "vertex",
                                                 "fragment", "perVertex", "perFragment"};
    return kMoves.contains(name);
}

// Products and mixtures of clamped values never leave the unit range: while the other arguments stay
// the same they are affine indeed.
bool isAffineIndeed(const Primitive& row) {
    const std::string name = row.name;
    return std::string(row.results) == "C" && (name == "operator*" || name == "mix");
}

// The last element of a matrix in a larger identity is 1, and 1 it stays.
bool endsWithOne(const Primitive& row) {
    return std::string(row.name) == "mat4" && std::string(row.inputs).find("matrix") == 0;
}

// ---- Kernels ----

enum KernelFault { kSwap01, kSwap12, kSwap02, kOffFirst, kOffLast, kUnclamped, kOtherKernel };
Kernel originalKernel = nullptr;
KernelFault kernelFault = kSwap01;

void wrongKernel(const KernelCall& call, std::size_t points) {
    KernelCall wrong = call;
    std::vector<KernelOperand> arguments(call.arguments, call.arguments + call.argumentCount);
    if (kernelFault <= kSwap02) {
        constexpr int kPairs[][2] = {{0, 1}, {1, 2}, {0, 2}};
        std::swap(arguments[kPairs[kernelFault][0]], arguments[kPairs[kernelFault][1]]);
    }
    wrong.arguments = arguments.data();
    wrong.clampsResult = call.clampsResult && kernelFault != kUnclamped;
    originalKernel(wrong, points);
    if (kernelFault == kOffFirst || kernelFault == kOffLast) {
        double* column = call.results[kernelFault == kOffFirst ? 0 : call.resultWidth - 1];
        for (std::size_t i = 0; i < points; ++i) {
            column[i] = column[i] * 0.99 + 0.01; // also of a number that is clamped, or 0 or 1
        }
    }
}

TEST(Mutants, OfKernelsAreNoticed) {
    GlDriver* gl = driver();
    ASSERT_NE(gl, nullptr);
    const std::vector<Subject> subjects = makeSubjects(*gl);
    Tally tally;
    for (const Primitive& row : primitives()) {
        for (const KernelFault fault :
             {kSwap01, kSwap12, kSwap02, kOffFirst, kOffLast, kUnclamped, kOtherKernel}) {
            bool possible = false;
            bool noticed = false;
            for (const Subject& subject : subjects) {
                if (subject.primitive != &row || noticed) {
                    continue;
                }
                const std::vector<DataType> types = inputTypes(*subject.spec);
                const std::size_t a = fault == kSwap12 ? 1 : 0;
                const std::size_t b = fault == kSwap01 ? 1 : 2;
                if (fault <= kSwap02 &&
                    (b >= types.size() || types[a] != types[b] || types[a] == kTexObj ||
                     (fault == kSwap01 && isSymmetric(row.name, types[0])) || types.size() > 4)) {
                    continue;
                }
                if ((fault == kOffFirst || fault == kOffLast) && asksForFinite(row.name)) {
                    continue;
                }
                if (fault == kOffLast && endsWithOne(row)) {
                    continue;
                }
                // Only a lookup leaves the clamping to what stands behind it.
                if (fault == kUnclamped && (row.texture == kNoTexture || subject.spec->name()[0] != 'x')) {
                    continue;
                }
                Primitive wrong = row;
                originalKernel = row.kernel;
                kernelFault = fault;
                wrong.kernel = wrongKernel;
                if (fault == kOtherKernel) {
                    const auto other =
                        std::find_if(primitives().begin(), primitives().end(), [&](const Primitive& p) {
                            return p.kernel != row.kernel && p.texture == row.texture &&
                                   std::string(p.results) == row.results &&
                                   std::string(p.inputs) == row.inputs;
                        });
                    if (other == primitives().end()) {
                        continue;
                    }
                    wrong.kernel = other->kernel;
                }
                possible = true;
                FlatProgram flat = subject.flat;
                for (FlatProgram::Callee& callee : flat.callees) {
                    callee.primitive = callee.spec == subject.spec ? &wrong : callee.primitive;
                }
                for (std::size_t i = 0; i < subject.scenes.size(); ++i) {
                    noticed = noticed || differs(subject, i, flat, subject.pictures[i]);
                }
            }
            if (possible) {
                tally.add(noticed,
                          std::string(row.name) + "(" + row.inputs + ") fault " + std::to_string(fault));
            }
        }
    }
    tally.check("kernels");
}

// ---- Spellings ----

// What is put in the place of another piece of a template.
constexpr const char* kReplacements[][2] = {
    {"min(", "max("},
    {"max(", "min("},
    {"floor(", "ceil("},
    {"ceil(", "floor("},
    {"trunc(", "floor("},
    {"sin(", "cos("},
    {"cos(", "sin("},
    {"atan($1, $2)", "atan($1 / $2)"},
    {"exp(", "exp2("},
    {"exp2(", "exp("},
    {"log(", "log2("},
    {"log2(", "log("},
    {"sqrt(", "abs("},
    {"fract(", "trunc("},
    {"abs(", "-("},
    {"roundEven(", "floor("},
    {" + ", " - "},
    {" - ", " + "},
    {" * ", " / "},
    {" / ", " * "},
    {" < ", " <= "},
    {" <= ", " < "},
    {" > ", " >= "},
    {" >= ", " > "},
    {" == ", " != "},
    {" && ", " || "},
    {" || ", " && "},
    {"reflect(", "cross("},
    {"degrees(", "radians("},
    {"radians(", "degrees("},
    {"sinh(", "cosh("},
    {"tanh(", "sinh("},
    {"dFdx(", "dFdy("},
    {"dFdy(", "dFdx("},
    {"transpose(", "("},
    {"inverse(", "transpose("},
    {"all(", "any("},
    {"any(", "all("},
    {".x", ".y"},
    {"1.0", "0.9"},
    {"0.0", "0.1"},
    {", 0.0, 1.0)", ", -9.0, 9.0)"},
    {"length(", "dot($1, "},
    {"normalize(", "("},
};

std::vector<std::string> wrongSpellings(const std::string& text, const std::vector<DataType>& inputs,
                                        DataType result, const std::string& name) {
    std::vector<std::string> wrong;
    const std::size_t pairs[][2] = {{0, 1}, {1, 2}, {0, 2}};
    for (const auto& [a, b] : pairs) {
        const bool symmetric = b == 1 && isSymmetric(name, inputs[0]);
        if (b < inputs.size() && inputs[a] == inputs[b] && inputs[a] != kTexObj && !symmetric) {
            std::string swapped = text;
            for (char& c : swapped) {
                c = c == static_cast<char>('1' + a)   ? static_cast<char>('1' + b)
                    : c == static_cast<char>('1' + b) ? static_cast<char>('1' + a)
                                                      : c;
            }
            // Numbers that are none of an argument would be swapped, too.
            const bool onlyArguments = text.find_first_of("0123456789.") == std::string::npos ||
                                       text.find(".0") == std::string::npos;
            if (swapped != text && onlyArguments) {
                wrong.push_back(swapped);
            }
        }
    }
    for (const auto& [from, to] : kReplacements) {
        if (const std::size_t at = text.find(from); at != std::string::npos) {
            wrong.push_back(std::string(text).replace(at, std::strlen(from), to));
        }
    }
    if (result == kBool) {
        wrong.push_back("!(" + text + ")");
    } else if (isFlat(result)) {
        wrong.push_back("(" + text + ") + 1");
    } else if (result < kMatrix2) {
        wrong.push_back("(" + text + ") * 0.99 + 0.01");
    } else {
        wrong.push_back("(" + text + ") * 1.01");
    }
    return wrong;
}

TEST(Mutants, OfSpellingsAreNoticed) {
    GlDriver* gl = driver();
    ASSERT_NE(gl, nullptr);
    const std::vector<Subject> subjects = makeSubjects(*gl);
    const SpellingTable& table = SpellingTable::of(ProgramTarget::glsl330());
    Tally tally;
    int refused = 0;
    // A spelling serves many signatures: a mutant of it is noticed when it is for one of them.
    std::map<std::pair<const Spelling*, std::string>, bool> noticed;
    for (const Subject& subject : subjects) {
        if (onlyMoves(subject.spec->name()) || asksForFinite(subject.spec->name())) {
            continue;
        }
        const std::vector<DataType> inputs = inputTypes(*subject.spec);
        ShadingNodeSpec::AttributeIterator result, last;
        int output = 0;
        for (subject.spec->outputs(result, last); result != last; ++result, ++output) {
            const Spelling* spelling = table.find(subject.spec->name(), inputs, output);
            ASSERT_NE(spelling, nullptr) << signature(*subject.spec);
            std::string helper;
            for (const std::uint16_t used : spelling->helpers) {
                for (const std::uint16_t below : table.helpers()[used].helpers) {
                    helper += table.helpers()[below].text;
                }
                helper += table.helpers()[used].text;
            }
            for (const std::string& text :
                 wrongSpellings(spelling->text, inputs, result->dataType(), subject.spec->name())) {
                bool& isNoticed = noticed[{spelling, text}];
                for (std::size_t i = 0; i < subject.scenes.size() && !isNoticed; ++i) {
                    ProofSettings settings;
                    ConversionOptions options = optionsFor(settings, subject.scenes[i]);
                    options.addSpelling(signatureOf(*subject.spec), text, helper, output);
                    ProgramConvertor convertor(*subject.function, options);
                    GlPicture picture;
                    if (!convertor.convert() ||
                        !drawConverted(*gl, convertor, subject.scenes[i], picture).empty()) {
                        noticed.erase({spelling, text}); // no text at all
                        ++refused;
                        break;
                    }
                    isNoticed = differs(subject, i, subject.flat, picture);
                }
            }
        }
    }
    for (const auto& [mutant, isNoticed] : noticed) {
        tally.add(isNoticed, mutant.first->text + " as " + mutant.second);
    }
    std::printf("%d texts refused\n", refused);
    tally.check("spellings");
}

// ---- Affine sets ----

TEST(Mutants, OfAffineSetsAreNoticed) {
    GlDriver* gl = driver();
    ASSERT_NE(gl, nullptr);
    std::map<std::pair<const Primitive*, std::pair<std::uint32_t, std::uint32_t>>, bool> noticed;
    for (const ShadingNodeSpec* spec : standardLibrary()) {
        const Primitive* row = spec->nodeType() == kOperationNode ? findPrimitive(*spec) : nullptr;
        const std::vector<DataType> types = inputTypes(*spec);
        ShadingNodeSpec::AttributeIterator first, last;
        spec->outputs(first, last);
        // A result that travels flat is never computed earlier than arguments that do not.
        if (row == nullptr || row->texture != kNoTexture || types.size() > 4 || isFlat(first->dataType()) ||
            isAffineIndeed(*row)) {
            continue;
        }
        const std::unique_ptr<ShadingNodeSpec> function = wrap(*spec, takesMatrices(*spec)).build();
        // The inputs that each argument is made from, and the arguments that can vary.
        std::vector<std::vector<std::string>> sources(types.size());
        std::uint32_t canVary = 0;
        int inputs = 0;
        spec->inputs(first, last);
        for (std::size_t i = 0; first != last; ++first, ++i) {
            const bool matrix = types[i] >= kMatrix2 && types[i] <= kMatrix4;
            const bool varies = !isFlat(types[i]) && first->compFreqRange() == CompFreqRange();
            canVary |= varies ? 1U << i : 0;
            for (int line = 0; varies && line < (matrix ? types[i] - kMatrix2 + 2 : 1); ++line) {
                sources[i].push_back("i" + std::to_string(inputs++));
            }
        }
        std::vector<AffineSets> enlarged;
        for (std::size_t i = 0; i < types.size(); ++i) {
            const std::uint32_t bit = 1U << i;
            if ((canVary & bit) == 0) {
                continue;
            }
            if ((row->affine.first & bit) == 0) {
                enlarged.push_back({row->affine.first | bit, row->affine.second});
            }
            if (row->affine.second != 0 && (row->affine.second & bit) == 0) {
                enlarged.push_back({row->affine.first, row->affine.second | bit});
            }
        }
        for (const AffineSets& sets : enlarged) {
            bool& isNoticed = noticed[{row, {sets.first, sets.second}}];
            const std::uint32_t changed = sets.first != row->affine.first ? sets.first : sets.second;
            for (unsigned seed = 1; seed <= 12 && !isNoticed; ++seed) {
                PlacementOptions options;
                for (std::size_t i = 0; i < types.size(); ++i) {
                    for (const std::string& source : sources[i]) {
                        options.inputLevels[source] = (changed >> i & 1) != 0 ? kVertexFreq : kUniformFreq;
                    }
                }
                Primitive wrong = *row;
                wrong.affine = sets;
                PlacedProgram placed;
                placed.flat = flatten(*function);
                for (FlatProgram::Callee& callee : placed.flat.callees) {
                    callee.primitive = callee.spec == spec ? &wrong : callee.primitive;
                }
                placeFlatProgram(placed, *function, options);
                InterfacePlan plan;
                const ProgramTexts written =
                    writeProgram(placed, *function, ProgramTarget::glsl330(), options, {}, plan);
                const ProofScene scene(*function, GlDraw::kTriangles, seed, options.inputLevels);
                GlPicture picture;
                const std::string fault = drawTexts(*gl, {written.texts[0], written.texts[1]},
                                                    written.variables, {}, scene, picture);
                ASSERT_EQ(fault, "") << signature(*spec);
                ProofCounts counts;
                isNoticed = !difference(evaluateScene(flatten(*function), scene), picture, counts).empty();
            }
        }
    }
    Tally tally;
    for (const auto& [mutant, isNoticed] : noticed) {
        tally.add(isNoticed, std::string(mutant.first->name) + "(" + mutant.first->inputs + ") affine in " +
                                 std::to_string(mutant.second.first) + " and " +
                                 std::to_string(mutant.second.second));
    }
    tally.check("affine sets");
}

} // namespace
