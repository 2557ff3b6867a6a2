#include "conversion/ProgramNames.h"

#include "conversion/Spellings.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace qvShadingDag {

namespace {

constexpr unsigned bit(ProgramTarget::Id target) {
    return 1U << target;
}

constexpr unsigned k330 = bit(ProgramTarget::kGlsl330);
constexpr unsigned kEs = bit(ProgramTarget::kEs300);
constexpr unsigned kVk = bit(ProgramTarget::kVulkan450);
constexpr unsigned kHl = bit(ProgramTarget::kHlsl);
constexpr unsigned kCg = bit(ProgramTarget::kCg);
constexpr unsigned kGlsl = k330 | kEs | kVk;
constexpr unsigned kEvery = kGlsl | kHl | kCg;

struct WordRow {
    unsigned targets;
    const char* words; // separated by blanks
};

// Keywords and words that a language keeps for later.
constexpr WordRow kWordRows[] = {
    {kEvery, "main const uniform in out inout if else for while do break continue return discard struct "
             "switch case default true false void bool int float uint double half fixed unsigned long short "
             "class enum typedef template this inline volatile static extern namespace using sizeof "
             "interface public row_major centroid"},
    {kGlsl, "layout attribute varying flat smooth precision highp mediump lowp invariant asm union goto "
            "noinline external input output superp packed cast filter common partition active "
            "noperspective "
            "vec2 vec3 vec4 ivec2 ivec3 ivec4 uvec2 uvec3 uvec4 bvec2 bvec3 bvec4 dvec2 dvec3 dvec4 "
            "hvec2 hvec3 hvec4 fvec2 fvec3 fvec4 mat2 mat3 mat4 mat2x2 mat2x3 mat2x4 mat3x2 mat3x3 mat3x4 "
            "mat4x2 mat4x3 mat4x4 "
            "sampler1D sampler2D sampler3D samplerCube sampler1DShadow sampler2DShadow samplerCubeShadow "
            "sampler1DArray sampler2DArray sampler1DArrayShadow sampler2DArrayShadow sampler2DRect "
            "sampler2DRectShadow sampler3DRect samplerBuffer sampler2DMS sampler2DMSArray "
            "isampler1D isampler2D isampler3D isamplerCube isampler1DArray isampler2DArray isampler2DRect "
            "isamplerBuffer isampler2DMS isampler2DMSArray "
            "usampler1D usampler2D usampler3D usamplerCube usampler1DArray usampler2DArray usampler2DRect "
            "usamplerBuffer usampler2DMS usampler2DMSArray "
            "image1D image2D image3D imageCube iimage1D iimage2D iimage3D iimageCube uimage1D uimage2D "
            "uimage3D uimageCube image1DArray image2DArray iimage1DArray iimage2DArray uimage1DArray "
            "uimage2DArray image1DShadow image2DShadow image1DArrayShadow image2DArrayShadow imageBuffer "
            "iimageBuffer uimageBuffer"},
    {kEs | kVk, "coherent restrict readonly writeonly resource atomic_uint patch sample subroutine"},
    {kVk, "buffer shared precise dmat2 dmat3 dmat4 dmat2x2 dmat2x3 dmat2x4 dmat3x2 dmat3x3 dmat3x4 dmat4x2 "
          "dmat4x3 dmat4x4 samplerCubeArray samplerCubeArrayShadow isamplerCubeArray usamplerCubeArray "
          "imageCubeArray iimageCubeArray uimageCubeArray image2DRect iimage2DRect uimage2DRect image2DMS "
          "iimage2DMS uimage2DMS image2DMSArray iimage2DMSArray uimage2DMSArray texture1D texture2D "
          "texture3D textureCube texture2DRect texture1DArray texture2DArray textureCubeArray textureBuffer "
          "texture2DMS texture2DMSArray itexture1D itexture2D itexture3D itextureCube itexture2DRect "
          "itexture1DArray itexture2DArray itextureCubeArray itextureBuffer itexture2DMS itexture2DMSArray "
          "utexture1D utexture2D utexture3D utextureCube utexture2DRect utexture1DArray utexture2DArray "
          "utextureCubeArray utextureBuffer utexture2DMS utexture2DMSArray sampler samplerShadow "
          "subpassInput isubpassInput usubpassInput subpassInputMS isubpassInputMS usubpassInputMS"},
    {kHl | kCg, "asm auto bool1 catch char column_major compile const_cast delete dynamic_cast explicit "
                "friend goto mutable new operator private protected register reinterpret_cast shared signed "
                "static_cast throw try typename union virtual string vector matrix dword pass technique "
                "technique10 technique11 sampler sampler1D sampler2D sampler3D samplerCUBE samplerRECT "
                "texture sampler_state "
                "asm_fragment decl emit packed pixelfragment vertexfragment precise"},
    {kHl, "AppendStructuredBuffer BlendState Buffer ByteAddressBuffer CompileShader ComputeShader "
          "ConsumeStructuredBuffer DepthStencilState DepthStencilView DomainShader GeometryShader "
          "Hullshader HullShader InputPatch LineStream NULL OutputPatch PixelShader PointStream "
          "RasterizerState RenderTargetView RWBuffer RWByteAddressBuffer RWStructuredBuffer RWTexture1D "
          "RWTexture1DArray RWTexture2D RWTexture2DArray RWTexture3D SamplerState SamplerComparisonState "
          "StructuredBuffer Texture1D Texture1DArray Texture2D Texture2DArray Texture2DMS Texture2DMSArray "
          "Texture3D TextureCube TextureCubeArray TriangleStream VertexShader cbuffer tbuffer class export "
          "fxgroup globallycoherent groupshared line lineadj linear nointerpolation noperspective pixel "
          "point sample snorm unorm stateblock stateblock_state triangle triangleadj min16float min10float "
          "min16int min12int min16uint texture1D texture2D texture3D textureCUBE"},
    {kCg, "program connector vert frag application2vertex vertex2fragment fragment2framebuffer "
          "inputConnector outputConnector texobj texobj1D texobj2D texobj3D texobjCUBE texobjRECT clampu1 "
          "AVC VFC FFC FFC_float"},
};

bool isLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

} // namespace

std::uint32_t hashOfName(std::string_view name) {
    std::uint32_t hash = 2166136261U;
    for (const char c : name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return hash ^ (hash >> 15);
}

void collectCalledWords(std::string_view text, std::vector<std::string>& words) {
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && (isLetterOrDigit(text[end]) || text[end] == '_')) {
            ++end;
        }
        const bool placeholder = at > 0 && text[at - 1] == '$';
        if (end > at && end < text.size() && text[end] == '(' && !placeholder) {
            words.emplace_back(text.substr(at, end - at));
        }
        at = end + 1;
    }
}

ReservedWords::ReservedWords(const ProgramTarget& target) {
    fWords.resize(2048);
    for (const WordRow& row : kWordRows) {
        if ((row.targets & bit(target.id)) != 0) {
            std::string_view words = row.words;
            while (!words.empty()) {
                const std::size_t end = std::min(words.find(' '), words.size());
                add(words.substr(0, end));
                words.remove_prefix(std::min(end + 1, words.size()));
            }
        }
    }
    std::vector<std::string> called;
    SpellingTable::of(target).collectCalledWords(called);
    for (const std::string& word : called) {
        add(word);
    }
    if (target.language == ProgramTarget::kHlslWords) {
        for (const char* scalar : {"bool", "int", "uint", "float", "double", "half", "fixed", "dword",
                                   "min16float", "min10float", "min16int", "min12int", "min16uint"}) {
            for (char rows = '1'; rows <= '4'; ++rows) {
                add(std::string(scalar) + rows);
                for (char columns = '1'; columns <= '4'; ++columns) {
                    add(std::string(scalar) + rows + "x" + columns);
                }
            }
        }
    }
}

void ReservedWords::add(std::string_view word) {
    std::size_t at = hashOfName(word) % fWords.size();
    while (!fWords[at].empty() && fWords[at] != word) {
        at = (at + 1) % fWords.size();
    }
    fWords[at] = word;
}

bool ReservedWords::contains(std::string_view word) const {
    std::size_t at = hashOfName(word) % fWords.size();
    while (!fWords[at].empty()) {
        if (fWords[at] == word) {
            return true;
        }
        at = (at + 1) % fWords.size();
    }
    return false;
}

const ReservedWords& ReservedWords::of(const ProgramTarget& target) {
    static const ReservedWords words[] = {
        ReservedWords(ProgramTarget::glsl330()), ReservedWords(ProgramTarget::es300()),
        ReservedWords(ProgramTarget::vulkan450()), ReservedWords(ProgramTarget::hlsl()),
        ReservedWords(ProgramTarget::cg())};
    return words[target.id];
}

NameTable::NameTable(const ReservedWords& words) : fWords(words), fEntries(64) {}

NameTable::NameTable(const NameTable& other)
    : fWords(other.fWords), fEntries(other.fEntries), fCount(other.fCount), fBlocks(other.fBlocks) {
    fBlocks.emplace_back().reserve(kBlock); // a copied block has no room left, and must not move
}

std::string_view NameTable::textOf(const Entry& entry) const {
    return std::string_view(fBlocks[entry.at / kBlock]).substr(entry.at % kBlock, entry.size);
}

// The entry of that name, or the free one where it belongs.
NameTable::Entry& NameTable::entryOf(std::string_view name) {
    std::size_t at = hashOfName(name) & (fEntries.size() - 1);
    while (fEntries[at].next != 0 && textOf(fEntries[at]) != name) {
        at = (at + 1) & (fEntries.size() - 1);
    }
    return fEntries[at];
}

void NameTable::grow() {
    std::vector<Entry> old(fEntries.size() * 2);
    old.swap(fEntries);
    for (const Entry& entry : old) {
        if (entry.next != 0) {
            entryOf(textOf(entry)) = entry;
        }
    }
}

// Null when the name was taken before.
NameTable::Entry* NameTable::take(std::string_view name) {
    if (fCount * 2 >= fEntries.size()) {
        grow();
    }
    Entry& entry = entryOf(name);
    if (entry.next != 0) {
        return nullptr;
    }
    // A text lies in one block; one that is longer than a block begins one that grows for it.
    if (fBlocks.empty() || fBlocks.back().size() + name.size() > kBlock) {
        fBlocks.emplace_back().reserve(std::max(kBlock, name.size()));
    }
    entry.at = static_cast<std::uint32_t>((fBlocks.size() - 1) * kBlock + fBlocks.back().size());
    entry.size = static_cast<std::uint32_t>(name.size());
    entry.next = 2;
    fBlocks.back().append(name);
    ++fCount;
    return &entry;
}

std::string_view NameTable::give(std::string_view prefix, std::string_view wanted) {
    fScratch.assign(prefix);
    for (const char c : wanted) {
        const bool plain = isLetterOrDigit(c);
        if (plain || (!fScratch.empty() && fScratch.back() != '_')) {
            fScratch += plain ? c : '_'; // no language accepts two underscores side by side everywhere
        }
    }
    while (!fScratch.empty() && fScratch.back() == '_') {
        fScratch.pop_back();
    }
    if (fScratch.empty() || (fScratch[0] >= '0' && fScratch[0] <= '9') || fScratch.starts_with("gl_")) {
        fScratch.insert(0, "t");
    }
    if (fWords.contains(fScratch)) {
        fScratch += "Value";
    }
    if (const Entry* entry = take(fScratch)) {
        return textOf(*entry);
    }
    const std::size_t size = fScratch.size();
    for (;;) {
        // The base is looked up anew: taking a name may move the entries.
        const std::uint32_t number = entryOf(std::string_view(fScratch).substr(0, size)).next++;
        std::array<char, 16> digits{};
        digits[0] = '_';
        const auto end = std::to_chars(digits.data() + 1, digits.data() + digits.size(), number).ptr;
        fScratch.resize(size);
        fScratch.append(digits.data(), end);
        if (const Entry* entry = take(fScratch)) {
            return textOf(*entry);
        }
    }
}

} // namespace qvShadingDag
