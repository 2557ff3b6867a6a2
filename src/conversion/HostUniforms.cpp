#include "conversion/HostUniforms.h"

#include "conversion/ConvertedProgram.h"
#include "evaluation/KernelCall.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;
constexpr Index kNone = FlatProgram::kNone;

bool sameNumbers(const ShadingValue& a, const ShadingValue& b) {
    return std::equal(a.c.begin(), a.c.end(), b.c.begin(), [](double x, double y) {
        return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
    });
}

} // namespace

HostUniforms::HostUniforms(const ConvertedProgram& program) : fProgram(program) {
    if (!fProgram.data()) {
        return;
    }
    const PlacedProgram& placed = *fProgram.data()->placed;
    const FlatProgram& flat = placed.flat;
    fValues.resize(flat.valueTypes.size());
    fImpliedSlot = flat.valueTypes.size(); // the implied matrix is no value of the function
    fKnown.assign(flat.valueTypes.size() + 1, false);
    fStale.assign(flat.valueTypes.size() + 1, true);
    for (std::size_t i = 0; i < fValues.size(); ++i) {
        fValues[i].type = flat.valueTypes[i];
        if (placed.literalOf[i] != kNone) {
            fValues[i] = flat.literals[placed.literalOf[i]];
            fKnown[i] = true;
        }
    }
    fImplied.type = kMatrix4;
    fValueOf = fProgram.data()->uniformValues;
    fValueOf.insert(fValueOf.end(), fProgram.data()->hoistedValues.begin(),
                    fProgram.data()->hoistedValues.end());
    for (const auto* list : {&fProgram.variables().uniforms, &fProgram.variables().hoisted}) {
        for (const ProgramVariable& variable : *list) {
            HostUniform uniform;
            uniform.name = variable.name;
            uniform.offset = variable.offset;
            fUniforms.push_back(std::move(uniform));
        }
    }
}

bool HostUniforms::set(const std::string& input, const ShadingValue& value) {
    const ProgramInterface& variables = fProgram.variables();
    bool found = false;
    const auto accept = [&](ShadingValue& place, DataType type, std::size_t stale) {
        if (componentCount(type) != value.width() || value.width() == 0) {
            return;
        }
        found = true;
        ShadingValue given = value;
        given.type = type;
        given = given.delivered();
        if (!fKnown[stale] || !sameNumbers(place, given)) {
            place = given;
            fKnown[stale] = true;
            fStale[stale] = true;
            fAnyStale = true;
        }
    };
    for (const ProgramVariable& uniform : variables.uniforms) {
        if (uniform.input == input &&
            fValueOf[static_cast<std::size_t>(&uniform - variables.uniforms.data())] == kNone) {
            accept(fImplied, uniform.type, fImpliedSlot);
        }
    }
    const bool read =
        std::any_of(variables.uniforms.begin(), variables.uniforms.end(),
                    [&](const ProgramVariable& uniform) { return uniform.input == input; }) ||
        std::any_of(variables.hoisted.begin(), variables.hoisted.end(), [&](const ProgramVariable& hoisted) {
            return std::find(hoisted.inputs.begin(), hoisted.inputs.end(), input) != hoisted.inputs.end();
        });
    if (read) {
        for (const FlatProgram::Input& candidate : fProgram.data()->placed->flat.inputs) {
            if (candidate.name == input && candidate.node != kNone) {
                const Index slot = fProgram.data()->placed->flat.nodes[candidate.node].firstValue;
                accept(fValues[slot], candidate.type, slot);
            }
        }
    }
    return found;
}

// A value is stale when it was set or computed to another one; its readers then are computed again.
void HostUniforms::compute() {
    const PlacedProgram& placed = *fProgram.data()->placed;
    const FlatProgram& flat = placed.flat;
    std::vector<ShadingValue> arguments;
    std::vector<ShadingValue> results;
    for (const Index index : placed.hostNodes) {
        const FlatProgram::Node& node = flat.nodes[index];
        const auto* first = flat.arguments.data() + node.firstArgument;
        const auto* last = first + node.argumentCount;
        if (std::none_of(first, last, [this](Index value) { return fStale[value]; })) {
            continue;
        }
        arguments.clear();
        for (const auto* at = first; at != last; ++at) {
            arguments.push_back(fValues[*at]);
        }
        results.assign(fValues.begin() + node.firstValue,
                       fValues.begin() + node.firstValue + node.valueCount);
        if (node.kind == FlatProgram::kIdentity) {
            results.front() = arguments.front();
        } else {
            computeCall(flat.callees[node.what], arguments.data(), results.data(), results.size());
        }
        const bool known = std::all_of(first, last, [this](Index value) { return fKnown[value]; });
        for (Index i = 0; i < node.valueCount; ++i) {
            const Index value = node.firstValue + i;
            fStale[value] =
                fStale[value] || fKnown[value] != known || !sameNumbers(fValues[value], results[i]);
            fKnown[value] = known;
            fValues[value] = results[i];
        }
    }
}

const std::vector<HostUniform>& HostUniforms::values() {
    if (!fAnyStale) {
        for (HostUniform& uniform : fUniforms) {
            uniform.changed = false;
        }
        return fUniforms;
    }
    if (fProgram.data()) {
        compute();
    }
    for (std::size_t i = 0; i < fUniforms.size(); ++i) {
        HostUniform& uniform = fUniforms[i];
        const std::size_t slot = fValueOf[i] == kNone ? fImpliedSlot : fValueOf[i];
        uniform.value = (fValueOf[i] == kNone ? fImplied : fValues[slot]).delivered();
        uniform.known = fKnown[slot];
        uniform.changed = fStale[slot];
    }
    std::fill(fStale.begin(), fStale.end(), false);
    fAnyStale = false;
    return fUniforms;
}

std::vector<unsigned char> HostUniforms::block() {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(fProgram.variables().blockSize));
    for (const HostUniform& uniform : values()) {
        const DataType type = uniform.value.type;
        const bool whole = type == kBool || (type >= kInt && type <= kInt4);
        const int side = type >= kMatrix2 && type <= kMatrix4 ? type - kMatrix2 + 2 : 0;
        for (int i = 0; i < uniform.value.width() && uniform.offset >= 0; ++i) {
            const int at = uniform.offset + (side == 0 ? 4 * i : i / side * 16 + i % side * 4);
            const double number = uniform.value.c[i];
            const auto asFloat = static_cast<float>(number);
            const auto asInt = whole ? static_cast<std::int32_t>(number) : 0;
            std::memcpy(bytes.data() + at, whole ? static_cast<const void*>(&asInt) : &asFloat, 4);
        }
    }
    return bytes;
}

} // namespace qvShadingDag
