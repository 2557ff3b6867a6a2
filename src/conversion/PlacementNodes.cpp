// Rules 3 to 6 of PlacementPasses.h: where each node runs.

#include "conversion/PlacementPasses.h"

#include "shadingdag/ShadingNode.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;
using Place = PlacedProgram::Place;
constexpr Index kNone = PlacedProgram::kNone;

} // namespace

// ==== 3. Ranges

void evaluateRanges(PlacedProgram& placed) {
    const FlatProgram& flat = placed.flat;
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const FlatProgram::Node& node = flat.nodes[n];
        Place& place = placed.places[n];
        if (node.kind == FlatProgram::kInput) {
            continue;
        }
        unsigned char lowest = kConstantFreq;
        unsigned char highest = kConstantFreq;
        for (Index i = 0; i < node.argumentCount; ++i) {
            const Place& argument = placed.places[flat.valueNode[flat.arguments[node.firstArgument + i]]];
            lowest = std::max(lowest, argument.lowest);
            highest = std::max(highest, argument.highest);
        }
        place.lowest = std::max(lowest, node.floor);
        place.highest = std::max(highest, place.lowest);
    }
}

// ==== 4. Needs

namespace {

std::vector<char> perVertexCallees(const FlatProgram& flat) {
    std::vector<char> result;
    for (const FlatProgram::Callee& callee : flat.callees) {
        result.push_back(callee.primitive && std::string_view(callee.primitive->name) == "perVertex" ? 1 : 0);
    }
    return result;
}

} // namespace

void markNeeds(PlacedProgram& placed) {
    enum Need : unsigned char { kShown = 1, kPinned = 2 };
    const FlatProgram& flat = placed.flat;
    std::vector<unsigned char> needs(flat.nodes.size(), 0);
    for (std::size_t i = 0; i < flat.outputs.size(); ++i) {
        if (placed.roles[i] != PlacedProgram::kDropped) {
            const bool position = placed.roles[i] == PlacedProgram::kPosition;
            needs[flat.valueNode[flat.outputs[i].value]] |= position ? kPinned : kShown;
        }
    }
    const std::vector<char> isPerVertex = perVertexCallees(flat);
    for (auto n = static_cast<Index>(flat.nodes.size()); n-- > 0;) {
        const FlatProgram::Node& node = flat.nodes[n];
        Place& place = placed.places[n];
        place.anchored = node.kind == FlatProgram::kCall && isPerVertex[node.what];
        place.shown = (needs[n] & kShown) != 0;
        place.pinned = place.anchored || (needs[n] & kPinned) != 0;
        const unsigned char need = place.anchored ? static_cast<unsigned char>(kPinned) : needs[n];
        for (Index i = 0; i < node.argumentCount; ++i) {
            const Index argument = flat.valueNode[flat.arguments[node.firstArgument + i]];
            if ((need & kPinned) != 0) {
                // The position comes before a perVertex, as what is named to the reader.
                Index& pinnedFor = placed.places[argument].pinnedFor;
                const bool forPosition = (needs[argument] & kPinned) != 0 && pinnedFor == kNone;
                pinnedFor = forPosition ? kNone : place.anchored ? n : place.pinnedFor;
            }
            needs[argument] |= need;
        }
    }
}

// ==== 5. Places, and 6. Affine

namespace {

bool resultsTravelFlat(const FlatProgram& flat, const FlatProgram::Node& node) {
    for (Index i = 0; i < node.valueCount; ++i) {
        if (!travelsFlat(flat.valueTypes[node.firstValue + i])) {
            return false;
        }
    }
    return true;
}

} // namespace

Commuting commutes(const PlacedProgram& placed, Index n, Index& decider) {
    const FlatProgram& flat = placed.flat;
    const FlatProgram::Node& node = flat.nodes[n];
    std::uint32_t perVertex = 0;
    bool tooMany = false;
    bool interpolated = false;
    Index flatArgument = kNone;
    decider = kNone;
    for (Index i = 0; i < node.argumentCount; ++i) {
        const Index value = flat.arguments[node.firstArgument + i];
        const Index argument = flat.valueNode[value];
        if (placed.places[argument].level != kVertexFreq) {
            continue;
        }
        decider = decider == kNone ? argument : decider;
        if (travelsFlat(flat.valueTypes[value])) {
            flatArgument = flatArgument == kNone ? argument : flatArgument;
        } else {
            interpolated = true;
        }
        tooMany = tooMany || i >= 32;
        perVertex |= 1U << (i & 31U);
    }
    if (decider == kNone) {
        return kReadsNone;
    }
    const bool flatResults = resultsTravelFlat(flat, node);
    if (!interpolated && flatResults) {
        return kTravelsFlat;
    }
    if (flatArgument != kNone && !flatResults) {
        decider = flatArgument;
        return kIsNotAffine;
    }
    if (node.kind == FlatProgram::kIdentity) {
        return kIsAffine;
    }
    const Primitive* primitive = flat.callees[node.what].primitive;
    if (primitive && !tooMany && !flatResults) {
        for (const std::uint32_t set : {primitive->affine.first, primitive->affine.second}) {
            if ((perVertex & ~set) == 0) {
                return kIsAffine;
            }
        }
    }
    return kIsNotAffine;
}

namespace {

/// How a message names a node: its operation and where it was written.
std::string described(const PlacedProgram& placed, Index n) {
    const FlatProgram::Node& node = placed.flat.nodes[n];
    const std::string place = node.origin ? placeOf(*node.origin) : "";
    return operationText(placed.flat, n) + (place.empty() ? "" : " (" + place + ")");
}

/// What keeps a node that reads nothing later than per vertex from running there, and what to do.
std::string whyNotPerVertex(const PlacedProgram& placed, Index guilty) {
    const FlatProgram& flat = placed.flat;
    const FlatProgram::Node& node = flat.nodes[guilty];
    if (node.kind == FlatProgram::kInput) {
        return "which is declared fragment: write 'vertex:fragment " +
               dataTypeName(flat.inputs[node.what].type) + " " + flat.inputs[node.what].name + "'";
    }
    if (node.kind == FlatProgram::kCall) {
        const FlatProgram::Callee& callee = flat.callees[node.what];
        if (callee.primitive && callee.primitive->texture != kNoTexture) {
            return "a texture lookup, which exists per fragment only: pass what it gives as an input per "
                   "vertex";
        }
        ShadingNodeSpec::AttributeIterator output;
        ShadingNodeSpec::AttributeIterator last;
        for (callee.spec->outputs(output, last); output != last; ++output) {
            if (output->compFreqRange().lowest() == kFragmentFreq) {
                return "which exists per fragment only: compute what the position needs without it";
            }
        }
    }
    return "which came out of a function that is declared fragment: declare it without that level, or "
           "write what the position needs without it";
}

/// Names the chain by which the clip position, or a perVertex, needs a node that is later.
[[noreturn]] void refusePinned(const PlacedProgram& placed, const ShadingNodeSpec& function, Index guilty) {
    const FlatProgram& flat = placed.flat;
    const auto count = static_cast<Index>(flat.nodes.size());
    std::vector<Index> reader(count, kNone); // on the way to the position; the node itself at the end
    for (std::size_t i = 0; i < flat.outputs.size(); ++i) {
        if (placed.roles[i] == PlacedProgram::kPosition) {
            reader[flat.valueNode[flat.outputs[i].value]] = flat.valueNode[flat.outputs[i].value];
        }
    }
    for (Index n = count; n-- > 0;) {
        reader[n] = reader[n] == kNone && placed.places[n].anchored ? n : reader[n];
        const FlatProgram::Node& node = flat.nodes[n];
        for (Index i = 0; i < node.argumentCount && reader[n] != kNone; ++i) {
            Index& argument = reader[flat.valueNode[flat.arguments[node.firstArgument + i]]];
            argument = argument == kNone ? n : argument;
        }
    }
    std::vector<std::string> chain;
    Index end = guilty;
    for (; reader[end] != end; end = reader[end]) {
        chain.push_back(described(placed, end));
    }
    const bool anchored = placed.places[end].anchored;
    chain.push_back(described(placed, end));
    if (!anchored) {
        chain.emplace_back("position");
    }
    constexpr std::size_t kShown = 6;
    if (chain.size() > kShown) {
        const auto first = chain.begin() + static_cast<std::ptrdiff_t>(kShown / 2);
        *first = "...";
        chain.erase(first + 1, chain.end() - static_cast<std::ptrdiff_t>(kShown / 2));
    }
    std::string text = anchored ? described(placed, end) + ", like a position, is computed per vertex"
                                : "position is computed per vertex";
    text += " and needs " + described(placed, guilty) + ", " + whyNotPerVertex(placed, guilty) +
            "; the chain is ";
    for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
        text += (link == chain.rbegin() ? "" : " <- ") + *link;
    }
    refuseFunction(function, text);
}

/// The words for a node that runs where its arguments and its floor put it; `latest` is the first of
/// its latest arguments, none where the floor lies above them.
void giveReason(PlacedProgram& placed, Index n, Index latest, bool exact) {
    Place& place = placed.places[n];
    place.decider = latest;
    if (placed.flat.nodes[n].kind == FlatProgram::kLiteral) {
        place.reason = PlacedProgram::kWrittenLiteral;
    } else if (place.level == kConstantFreq) {
        place.reason = PlacedProgram::kFolded;
    } else if (place.level == kUniformFreq) {
        place.reason = PlacedProgram::kByHost;
    } else if (latest == kNone) {
        place.reason = PlacedProgram::kDeclaredLevel;
    } else if (place.level == kFragmentFreq || !exact || place.anchored) {
        place.reason = PlacedProgram::kLatestArgument;
    } else if (place.pinned) {
        place.reason = PlacedProgram::kPinned;
        place.decider = place.pinnedFor;
    } else if (!place.shown) {
        place.reason = PlacedProgram::kNotShown;
        place.decider = kNone;
    } else if (place.highest < kFragmentFreq) {
        place.reason = PlacedProgram::kRangeEnds;
    } else {
        const bool flat = commutes(placed, n, place.decider) == kTravelsFlat;
        place.reason = flat ? PlacedProgram::kFlat : PlacedProgram::kAffine;
    }
}

} // namespace

void placeNodes(PlacedProgram& placed, const ShadingNodeSpec& function, PlacementPolicy policy) {
    const FlatProgram& flat = placed.flat;
    const bool exact = policy == kExactPlacement;
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        const FlatProgram::Node& node = flat.nodes[n];
        Place& place = placed.places[n];
        if (place.pinned && place.lowest > kVertexFreq) {
            refusePinned(placed, function, n);
        }
        if (node.kind == FlatProgram::kInput) {
            continue;
        }
        // What is both pinned and shown is judged as if it were free; a pinned argument of what is
        // neither stays where it is pinned.
        const bool asFree = place.shown && !place.anchored;
        unsigned char level = kInvalidFreq;
        Index latest = kNone;
        for (Index i = 0; i < node.argumentCount; ++i) {
            const Index index = flat.valueNode[flat.arguments[node.firstArgument + i]];
            const Place& argument = placed.places[index];
            const unsigned char at = asFree || !argument.pinned ? argument.level : argument.lowest;
            if (at > level) {
                level = at;
                latest = index;
            }
        }
        place.level = std::max(level, node.floor);
        latest = level < node.floor ? kNone : latest;
        Index blamed = kNone;
        if (exact && asFree && place.level == kVertexFreq && place.highest == kFragmentFreq &&
            commutes(placed, n, blamed) == kIsNotAffine) {
            place.level = kFragmentFreq;
            place.reason = PlacedProgram::kInterpolated;
            place.decider = blamed;
        } else {
            giveReason(placed, n, latest, exact);
        }
    }
}

namespace {

/// Copies a flat program node by node, those that rule 5 splits twice, and follows the values.
class Splitter {
public:
    explicit Splitter(PlacedProgram& placed) : fOld(std::move(placed)), fNew(placed) {
        fNew = PlacedProgram();
        fNew.flat.literals = std::move(fOld.flat.literals);
        fNew.flat.callees = std::move(fOld.flat.callees);
        fNew.flat.inputs = std::move(fOld.flat.inputs);
        fNew.flat.outputs = std::move(fOld.flat.outputs);
        fNew.roles = std::move(fOld.roles);
        fNew.notices = std::move(fOld.notices);
        for (Copies* copies : {&fPinned, &fFree}) {
            copies->values = std::vector<Index>(fOld.flat.valueNode.size(), kNone);
            copies->nodes = std::vector<Index>(fOld.flat.nodes.size(), kNone);
        }
    }

    void split() {
        for (Index n = 0; n < fOld.flat.nodes.size(); ++n) {
            const Place& place = fOld.places[n];
            const Index first = append(n, place.pinned || !place.shown ? fPinned : fFree);
            remember(n, first, fPinned);
            if (isSplit(place)) {
                remember(n, append(n, fFree), fFree);
                makeTwins(first, fFree.nodes[n]);
            } else {
                remember(n, first, fFree);
            }
        }
        for (Place& place : fNew.places) {
            const std::vector<Index>& nodes = (place.pinned ? fPinned : fFree).nodes;
            place.decider = place.decider == kNone ? kNone : nodes[place.decider];
            place.pinnedFor = place.pinnedFor == kNone ? kNone : fPinned.nodes[place.pinnedFor];
        }
        for (FlatProgram::Input& input : fNew.flat.inputs) {
            input.node = input.node == kNone ? kNone : fPinned.nodes[input.node];
        }
        for (std::size_t i = 0; i < fNew.roles.size(); ++i) {
            Index& value = fNew.flat.outputs[i].value;
            const PlacedProgram::Role role = fNew.roles[i];
            const bool shown = role == PlacedProgram::kColor || role == PlacedProgram::kDepth;
            value = value == kNone ? kNone : (shown ? fFree : fPinned).values[value];
        }
    }

    /// A split node has the place of the free one until then.
    static bool isSplit(const Place& place) { return place.pinned && place.level > kVertexFreq; }

private:
    /// The new ones by the old ones, as pinned nodes read them, or as free ones do.
    struct Copies {
        std::vector<Index> values;
        std::vector<Index> nodes;
    };

    Index append(Index n, const Copies& read) {
        FlatProgram& flat = fNew.flat;
        FlatProgram::Node node = fOld.flat.nodes[n];
        const auto copy = static_cast<Index>(flat.nodes.size());
        const auto firstArgument = static_cast<Index>(flat.arguments.size());
        for (Index i = 0; i < node.argumentCount; ++i) {
            flat.arguments.push_back(read.values[fOld.flat.arguments[node.firstArgument + i]]);
        }
        const auto firstValue = static_cast<Index>(flat.valueNode.size());
        for (Index i = 0; i < node.valueCount; ++i) {
            flat.valueTypes.push_back(fOld.flat.valueTypes[node.firstValue + i]);
            flat.valueNode.push_back(copy);
            fNew.literalOf.push_back(fOld.literalOf[node.firstValue + i]);
        }
        node.firstArgument = firstArgument;
        node.firstValue = firstValue;
        flat.nodes.push_back(node);
        fNew.places.push_back(fOld.places[n]);
        return copy;
    }

    void remember(Index old, Index copy, Copies& copies) const {
        const FlatProgram::Node& node = fOld.flat.nodes[old];
        copies.nodes[old] = copy;
        for (Index i = 0; i < node.valueCount; ++i) {
            copies.values[node.firstValue + i] = fNew.flat.nodes[copy].firstValue + i;
        }
    }

    void makeTwins(Index pinned, Index free) {
        Place& first = fNew.places[pinned];
        Place& second = fNew.places[free];
        first.level = first.lowest;
        first.shown = false;
        first.reason = PlacedProgram::kPinned;
        first.decider = first.pinnedFor;
        first.split = true;
        second.pinned = false;
        second.pinnedFor = kNone;
        second.split = true;
    }

    PlacedProgram fOld;
    PlacedProgram& fNew;
    Copies fPinned;
    Copies fFree;
};

} // namespace

void splitNodes(PlacedProgram& placed) {
    if (std::any_of(placed.places.begin(), placed.places.end(), Splitter::isSplit)) {
        Splitter(placed).split();
    }
}

} // namespace qvShadingDag
