#include "conversion/ProgramConvertor.h"

#include "conversion/ConvertedProgram.h"
#include "core/Exception.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <utility>

namespace qvShadingDag {

namespace {

const std::string kNoText;
const std::vector<std::string> kNoNotices;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

std::vector<HostSpelling> hostSpellings(const ConversionOptions& options) {
    std::vector<HostSpelling> result;
    result.reserve(options.spellings.size()); // the spellings point at their helpers
    for (const ConversionOptions::Added& row : options.spellings) {
        const std::string name = row.signature.substr(0, row.signature.find('('));
        result.push_back({row.signature, parseSpelling(name, row.text), row.helper});
        result.back().spelling.output = row.output;
        result.back().spelling.lookup = true; // who knows what it calls
        result.back().spelling.hostHelper = &result.back().helper;
    }
    return result;
}

std::string placedMessage(const ShadingNodeSpec& function, const std::string& what) {
    const std::string place = placeOf(function);
    return (place.empty() ? "" : place + ": ") + function.name() + ": " + what;
}

std::string bothTexts(const std::string& vertexText, const std::string& fragmentText) {
    return "---- vertex program ----\n" + vertexText + "---- fragment program ----\n" + fragmentText;
}

bool writeText(const char* path, const std::string& text) {
    std::FILE* file = std::fopen(path, "wb");
    if (!file) {
        return false;
    }
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && written;
}

void ConversionOptions::addSpelling(const std::string& signature, const std::string& text,
                                    const std::string& helper, int output) {
    Added added = {signature, text, helper, output};
    std::erase(added.signature, ' ');
    spellings.push_back(std::move(added));
}

ConvertedProgram::ConvertedProgram() = default;
ConvertedProgram::ConvertedProgram(std::shared_ptr<const Data> data) : fData(std::move(data)) {}
ConvertedProgram::ConvertedProgram(const ConvertedProgram& other) = default;
ConvertedProgram& ConvertedProgram::operator=(const ConvertedProgram& other) = default;
ConvertedProgram::~ConvertedProgram() = default;

const ProgramInterface& ConvertedProgram::variables() const {
    static const ProgramInterface none;
    return fData ? fData->texts.variables : none;
}

ProgramConvertor::ProgramConvertor(const ShadingNodeSpec& function, ConversionOptions options)
    : fFunction(&function), fOptions(std::move(options)) {}

ProgramConvertor::ProgramConvertor(const ProgramConvertor& other) = default;
ProgramConvertor& ProgramConvertor::operator=(const ProgramConvertor& other) = default;
ProgramConvertor::~ProgramConvertor() = default;

bool ProgramConvertor::convert() {
    cleanup();
    if (fOptions.target->id == ProgramTarget::kCg) {
        fail("an HSLTextConvertor writes programs for cg", true);
        return false;
    }
    try {
        const auto data = std::make_shared<ConvertedProgram::Data>();
        data->placed = std::make_shared<const PlacedProgram>(placeToConvert(*fFunction, fOptions));
        fProgram = ConvertedProgram(data);
    } catch (const PlacementFailure& failure) {
        fail(failure.message, failure.fault == kOptionsFault);
        return false;
    }
    return write(*fOptions.target);
}

bool ProgramConvertor::convertFor(const ProgramTarget& target) {
    if (!fProgram.data() || target.id == ProgramTarget::kCg) {
        fail(fProgram.data() ? "an HSLTextConvertor writes programs for cg" : "nothing has been converted",
             true);
        return false;
    }
    return write(target);
}

bool ProgramConvertor::write(const ProgramTarget& target) {
    const std::shared_ptr<const PlacedProgram> placed = fProgram.data()->placed;
    cleanup();
    try {
        const auto data = std::make_shared<ConvertedProgram::Data>();
        data->placed = placed;
        InterfacePlan plan;
        data->texts = writeProgram(*placed, *fFunction, target, fOptions, hostSpellings(fOptions), plan);
        data->uniformValues = std::move(plan.uniformValues);
        data->hoistedValues = std::move(plan.hoistedValues);
        fProgram = ConvertedProgram(data);
        return true;
    } catch (const Exception& error) {
        fail(placedMessage(*fFunction, error.message), false);
        return false;
    }
}

void ProgramConvertor::fail(const std::string& message, bool optionsAtFault) {
    cleanup();
    fError = message;
    fOptionsAtFault = optionsAtFault;
}

const qvString::CString ProgramConvertor::conversionString() const {
    if (!fProgram.data()) {
        return {};
    }
    return bothTexts(vertexProgram(), fragmentProgram()).c_str();
}

bool ProgramConvertor::writeToFile(const qvString::CString& path) {
    return fProgram.data() && writeText(path.asChar(), conversionString().asChar());
}

void ProgramConvertor::cleanup() {
    fProgram = ConvertedProgram();
    fError.clear();
    fOptionsAtFault = false;
}

const std::string& ProgramConvertor::vertexProgram() const {
    return fProgram.data() ? fProgram.data()->texts.texts[kVertexProgram] : kNoText;
}

const std::string& ProgramConvertor::fragmentProgram() const {
    return fProgram.data() ? fProgram.data()->texts.texts[kFragmentProgram] : kNoText;
}

const std::vector<std::string>& ProgramConvertor::notices() const {
    return fProgram.data() ? fProgram.data()->placed->notices : kNoNotices;
}

std::string ProgramConvertor::sourceOfLine(ProgramStage stage, unsigned int line) const {
    if (!fProgram.data() || stage < kVertexProgram || stage > kFragmentProgram) {
        return {};
    }
    const ProgramTexts& texts = fProgram.data()->texts;
    if (line == 0 || line > texts.lines[stage].size() || texts.lines[stage][line - 1].line == 0) {
        return {};
    }
    const SourceLine& source = texts.lines[stage][line - 1];
    return texts.files[source.file] + ":" + std::to_string(source.line);
}

std::string ProgramConvertor::explainLog(const std::string& log, ProgramStage stage) const {
    std::string result;
    for (std::size_t at = 0; at < log.size();) {
        // A text's number, which is 0, and a line: "0:17" or "0(17)".
        const bool starts =
            log[at] == '0' && (at == 0 || std::isalnum(static_cast<unsigned char>(log[at - 1])) == 0);
        const char mark = at + 1 < log.size() ? log[at + 1] : '\0';
        std::size_t end = at + 2;
        unsigned int line = 0;
        while (starts && (mark == ':' || mark == '(') && end < log.size() && isDigit(log[end]) &&
               line < 1000000000) {
            line = line * 10 + static_cast<unsigned int>(log[end++] - '0');
        }
        const std::string source = line == 0 ? std::string() : sourceOfLine(stage, line);
        if (source.empty()) {
            result += log[at++];
            continue;
        }
        result += source;
        at = end + (mark == '(' && end < log.size() && log[end] == ')' ? 1 : 0);
    }
    return result;
}

} // namespace qvShadingDag
