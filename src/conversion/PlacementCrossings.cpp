// Rules 7 and 8 of PlacementPasses.h: what crosses to the fragment program.

#include "conversion/PlacementPasses.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;
using Place = PlacedProgram::Place;
constexpr Index kNone = PlacedProgram::kNone;

} // namespace

// ==== 7. Sinking, and 8. Choosing

namespace {

/// What both look at: the nodes at the vertex, and which of their values cross. Nodes that neither
/// program needs are left out.
class Crossings {
public:
    explicit Crossings(PlacedProgram& placed) : fPlaced(placed), fFlat(placed.flat) {}

    /// Whether there is anything that could sink.
    bool find();

    bool sink();
    bool choose();

private:
    enum State : unsigned char {
        kElsewhere, ///< not at the vertex
        kFixed,     ///< at the vertex for good
        kMaySink,   ///< free, affine, at the vertex by choice
        kStays,     ///< the same, but it does not sink this time
    };

    State stateOf(Index value) const { return fStates[fFlat.valueNode[value]]; }

    template <typename Use>
    void forEachArgument(Index n, const Use& use) const {
        const FlatProgram::Node& node = fFlat.nodes[n];
        for (Index i = 0; i < node.argumentCount; ++i) {
            use(fFlat.arguments[node.firstArgument + i]);
        }
    }
    template <typename Use>
    void forEachValue(Index n, const Use& use) const {
        const FlatProgram::Node& node = fFlat.nodes[n];
        for (Index i = 0; i < node.valueCount; ++i) {
            use(node.firstValue + i);
        }
    }

    void moveDown(Index n, PlacedProgram::Reason reason, Index decider);

    PlacedProgram& fPlaced;
    FlatProgram& fFlat;
    std::vector<State> fStates;     // by node
    std::vector<char> fCrosses;     // by value: it is per vertex and a fragment reads it
    std::vector<Index> fAtVertex;   // the nodes there, in order
    std::vector<Index> fCandidates; // those that may sink, in order
};

bool Crossings::find() {
    fStates.assign(fFlat.nodes.size(), kElsewhere);
    std::vector<Index> fragments;
    for (std::vector<Index>* list : {&fragments, &fAtVertex, &fCandidates}) {
        list->reserve(fFlat.nodes.size());
    }
    for (Index n = 0; n < fFlat.nodes.size(); ++n) {
        const Place& place = fPlaced.places[n];
        if (!place.pinned && !place.shown) {
            continue;
        }
        if (place.level == kFragmentFreq) {
            fragments.push_back(n);
        } else if (place.level == kVertexFreq) {
            const bool maySink =
                place.highest == kFragmentFreq && !place.pinned && fFlat.nodes[n].kind != FlatProgram::kInput;
            fStates[n] = maySink ? kMaySink : kFixed;
            fAtVertex.push_back(n);
            if (maySink) {
                fCandidates.push_back(n);
            }
        }
    }
    if (fCandidates.empty()) {
        return false;
    }
    fCrosses.assign(fFlat.valueNode.size(), 0);
    const auto cross = [&](Index value) { fCrosses[value] = stateOf(value) != kElsewhere ? 1 : 0; };
    for (const Index n : fragments) {
        forEachArgument(n, cross);
    }
    for (std::size_t i = 0; i < fFlat.outputs.size(); ++i) {
        const PlacedProgram::Role role = fPlaced.roles[i];
        if (role == PlacedProgram::kColor || role == PlacedProgram::kDepth) {
            cross(fFlat.outputs[i].value);
        }
    }
    return true;
}

void Crossings::moveDown(Index n, PlacedProgram::Reason reason, Index decider) {
    Place& place = fPlaced.places[n];
    place.level = kFragmentFreq;
    place.reason = reason;
    place.decider = decider;
    fStates[n] = kElsewhere;
    forEachValue(n, [&](Index value) { fCrosses[value] = 0; });
}

/// Starts from all nodes that may sink and takes back those that cannot: a node stays when one of its
/// readers does, or one of its arguments that does not cross. Walks upwards and downwards by turns
/// until nothing more stays. Surfaces take two or three rounds; what is open after kMaxRounds stays,
/// so that no graph takes more than linear time.
bool Crossings::sink() {
    constexpr int kMaxRounds = 16;
    std::erase_if(fCandidates, [&](Index n) { return fStates[n] == kElsewhere; });
    std::erase_if(fAtVertex, [&](Index n) { return fStates[n] == kElsewhere; });
    for (const Index n : fCandidates) {
        fStates[n] = kMaySink;
    }
    bool changed = true;
    const auto stay = [&](Index n) {
        if (fStates[n] == kMaySink) {
            fStates[n] = kStays;
            changed = true;
        }
    };
    for (int round = 0; changed; ++round) {
        changed = false;
        for (auto n = fAtVertex.rbegin(); n != fAtVertex.rend(); ++n) {
            if (fStates[*n] != kMaySink) {
                forEachArgument(*n, [&](Index value) { stay(fFlat.valueNode[value]); });
            }
        }
        changed = false;
        for (const Index n : fCandidates) {
            forEachArgument(n, [&](Index value) {
                const State argument = stateOf(value);
                if (!fCrosses[value] && (argument == kFixed || argument == kStays)) {
                    stay(n);
                }
            });
        }
        if (changed && round == kMaxRounds) {
            std::for_each(fCandidates.begin(), fCandidates.end(), stay);
            changed = false;
        }
    }
    std::vector<Index> sinking;
    std::copy_if(fCandidates.begin(), fCandidates.end(), std::back_inserter(sinking),
                 [&](Index n) { return fStates[n] == kMaySink; });
    for (const Index n : sinking) {
        // A cone moves from its upper end: an argument that sank before names what it stands on.
        Index decider = kNone;
        commutes(fPlaced, n, decider);
        forEachArgument(n, [&](Index value) {
            const Place& argument = fPlaced.places[fFlat.valueNode[value]];
            if (decider == kNone && argument.reason == PlacedProgram::kSunk) {
                decider = argument.decider;
            }
        });
        moveDown(n, PlacedProgram::kSunk, decider);
    }
    return !sinking.empty();
}

/// Readers first, each value gathers what it could stand in for: the affine values that cross now and
/// depend, of all per-vertex values that do not cross, on this one alone. They come up through nodes
/// that could sink with them: those that no other node at the vertex reads. A way up ends where a
/// node has two such arguments.
bool Crossings::choose() {
    struct Gathered {
        Index components = 0; // that cross, as chosen so far
        Index values = 0;     // that crossed before
        Index sinksFor = kNone;
        bool otherReaders = false;
        bool chosen = false;
    };
    std::erase_if(fAtVertex, [&](Index n) { return fStates[n] == kElsewhere; });
    // Where the values of a node at the vertex start; nothing is written for the others.
    const auto slots = std::make_unique_for_overwrite<Index[]>(fFlat.nodes.size());
    Index count = 0;
    for (const Index n : fAtVertex) {
        slots[n] = count;
        count += fFlat.nodes[n].valueCount;
    }
    std::vector<Gathered> gathered(count);
    const auto slotOf = [&](Index value) {
        const Index n = fFlat.valueNode[value];
        return slots[n] + (value - fFlat.nodes[n].firstValue);
    };
    std::vector<Index> standsOn(fAtVertex.size(), kNone); // the only value that the node waits for
    bool any = false;
    for (std::size_t at = fAtVertex.size(); at-- > 0;) {
        const Index n = fAtVertex[at];
        Gathered sum;
        forEachValue(n, [&](Index value) {
            Gathered& own = gathered[slotOf(value)];
            const auto components = static_cast<Index>(componentCount(fFlat.valueTypes[value]));
            if (fCrosses[value]) {
                own.components = components;
                own.values = 1;
            } else if (own.values >= 2 && own.components > components) {
                own.components = components;
                own.chosen = true;
                any = true;
            }
            sum.components += own.components;
            sum.values += own.values;
            sum.otherReaders = sum.otherReaders || own.otherReaders;
        });
        Index only = kNone;
        bool several = false;
        forEachArgument(n, [&](Index value) {
            if (stateOf(value) != kElsewhere && !fCrosses[value]) {
                several = several || (only != kNone && only != value);
                only = value;
            }
        });
        const bool waits =
            fStates[n] != kFixed && sum.values > 0 && !sum.otherReaders && !several && only != kNone;
        standsOn[at] = waits ? only : kNone;
        forEachArgument(n, [&](Index value) {
            if (stateOf(value) != kElsewhere && value != standsOn[at]) {
                gathered[slotOf(value)].otherReaders = true;
            }
        });
        if (waits) {
            gathered[slotOf(only)].components += sum.components;
            gathered[slotOf(only)].values += sum.values;
        }
    }
    // From the top: what stands on a chosen value sinks, and takes back what was chosen on the way.
    for (std::size_t at = 0; any && at < fAtVertex.size(); ++at) {
        const Index n = fAtVertex[at];
        Index sinksFor = kNone;
        if (standsOn[at] != kNone) {
            const Gathered& above = gathered[slotOf(standsOn[at])];
            const Index chosen = above.chosen ? fFlat.valueNode[standsOn[at]] : kNone;
            sinksFor = above.sinksFor != kNone ? above.sinksFor : chosen;
        }
        forEachValue(n, [&](Index value) {
            Gathered& own = gathered[slotOf(value)];
            own.sinksFor = sinksFor;
            fCrosses[value] = fCrosses[value] || own.chosen ? 1 : 0;
        });
        if (sinksFor != kNone) {
            moveDown(n, PlacedProgram::kSunkForFewer, sinksFor);
        }
    }
    return any;
}

/// What only dropped outputs need has no say in what sinks; it follows the values that it reads, so
/// that no node stands before its arguments.
void followSunk(PlacedProgram& placed) {
    const FlatProgram& flat = placed.flat;
    for (Index n = 0; n < flat.nodes.size(); ++n) {
        Place& place = placed.places[n];
        const FlatProgram::Node& node = flat.nodes[n];
        for (Index i = 0; !place.pinned && !place.shown && i < node.argumentCount; ++i) {
            const Index argument = flat.valueNode[flat.arguments[node.firstArgument + i]];
            if (placed.places[argument].level > place.level) {
                place.level = placed.places[argument].level;
                place.reason = PlacedProgram::kLatestArgument;
                place.decider = argument;
            }
        }
    }
}

} // namespace

void sinkAffine(PlacedProgram& placed) {
    Crossings crossings(placed);
    if (!crossings.find()) {
        return;
    }
    constexpr int kMaxTurns = 8; // so that time stays linear; a surface takes one or two
    crossings.sink();
    for (int turn = 0; turn < kMaxTurns && crossings.choose(); ++turn) {
        crossings.sink();
    }
    if (std::find(placed.roles.begin(), placed.roles.end(), PlacedProgram::kDropped) != placed.roles.end()) {
        followSunk(placed);
    }
}

} // namespace qvShadingDag
