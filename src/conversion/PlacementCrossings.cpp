// Rules 7 and 8 of PlacementPasses.h: what crosses to the fragment program.

#include "conversion/PlacementPasses.h"

#include <vector>

namespace qvShadingDag {

namespace {

using Index = PlacedProgram::Index;
using Place = PlacedProgram::Place;
constexpr Index kNone = PlacedProgram::kNone;

} // namespace

// ==== 7. Sinking, and 8. Choosing

namespace {

/// What both look at: which values cross, and who reads them. Nodes that neither program needs are
/// no readers.
class Crossings {
public:
    explicit Crossings(PlacedProgram& placed) : fPlaced(placed), fFlat(placed.flat) {}

    /// Whether there is anything that could sink.
    bool find() {
        bool any = false;
        for (Index n = 0; n < fFlat.nodes.size() && !any; ++n) {
            any = maySink(n);
        }
        if (any) {
            findCrossing();
            listReaders();
        }
        return any;
    }

    bool sink();
    bool choose();

private:
    Place& place(Index n) const { return fPlaced.places[n]; }
    bool isNeeded(Index n) const { return place(n).pinned || place(n).shown; }
    bool isPerVertex(Index value) const { return place(fFlat.valueNode[value]).level == kVertexFreq; }

    /// Free, affine and per vertex by choice: what rule 5 left at the vertex though its range
    /// reaches fragment.
    bool maySink(Index n) const {
        const Place& p = place(n);
        return p.level == kVertexFreq && p.highest == kFragmentFreq && p.shown && !p.pinned &&
               fFlat.nodes[n].kind != FlatProgram::kInput;
    }

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
    template <typename Use>
    void forEachReader(Index value, const Use& use) const {
        for (Index i = fFirstReader[value]; i < fFirstReader[value + 1]; ++i) {
            use(fReaders[i]);
        }
    }

    void findCrossing();
    void listReaders();
    void moveDown(Index n, PlacedProgram::Reason reason, Index decider);

    PlacedProgram& fPlaced;
    FlatProgram& fFlat;
    std::vector<char> fCrosses;      // by value: it is per vertex and a fragment reads it
    std::vector<Index> fFirstReader; // by value, into fReaders
    std::vector<Index> fReaders;     // the nodes that read it, a node for each time
};

void Crossings::findCrossing() {
    fCrosses.assign(fFlat.valueNode.size(), 0);
    for (Index n = 0; n < fFlat.nodes.size(); ++n) {
        if (place(n).level == kFragmentFreq && isNeeded(n)) {
            forEachArgument(n, [&](Index value) { fCrosses[value] = isPerVertex(value) ? 1 : 0; });
        }
    }
    for (std::size_t i = 0; i < fFlat.outputs.size(); ++i) {
        const PlacedProgram::Role role = fPlaced.roles[i];
        if (role == PlacedProgram::kColor || role == PlacedProgram::kDepth) {
            fCrosses[fFlat.outputs[i].value] = isPerVertex(fFlat.outputs[i].value) ? 1 : 0;
        }
    }
}

void Crossings::listReaders() {
    // Counted two places further on and summed up, each entry is the start of the run before it;
    // filling the runs moves it to its end, where the next one starts.
    fFirstReader.assign(fFlat.valueNode.size() + 2, 0);
    fReaders.resize(fFlat.arguments.size());
    for (Index n = 0; n < fFlat.nodes.size(); ++n) {
        if (isNeeded(n)) {
            forEachArgument(n, [&](Index value) { ++fFirstReader[value + 2]; });
        }
    }
    for (std::size_t value = 1; value < fFirstReader.size(); ++value) {
        fFirstReader[value] += fFirstReader[value - 1];
    }
    for (Index n = 0; n < fFlat.nodes.size(); ++n) {
        if (isNeeded(n)) {
            forEachArgument(n, [&](Index value) { fReaders[fFirstReader[value + 1]++] = n; });
        }
    }
}

void Crossings::moveDown(Index n, PlacedProgram::Reason reason, Index decider) {
    place(n).level = kFragmentFreq;
    place(n).reason = reason;
    place(n).decider = decider;
    forEachValue(n, [&](Index value) { fCrosses[value] = 0; });
}

/// Starts from all nodes that may sink and takes back those that cannot: a node stays when one of
/// its readers does, or one of its arguments that does not cross. Each node and each link is looked
/// at a constant number of times.
bool Crossings::sink() {
    enum State : char { kIsFixed, kMaySink, kStays };
    std::vector<State> states(fFlat.nodes.size(), kIsFixed);
    std::vector<Index> staying; // whose neighbours have to be looked at
    const auto stay = [&](Index n) {
        if (states[n] == kMaySink) {
            states[n] = kStays;
            staying.push_back(n);
        }
    };
    for (Index n = 0; n < fFlat.nodes.size(); ++n) {
        states[n] = maySink(n) ? kMaySink : kIsFixed;
    }
    for (Index n = 0; n < fFlat.nodes.size(); ++n) {
        const bool fixed = states[n] == kIsFixed;
        if (place(n).level != kVertexFreq || !isNeeded(n)) {
            continue;
        }
        forEachArgument(n, [&](Index value) {
            const Index argument = fFlat.valueNode[value];
            if (fixed) {
                stay(argument);
            } else if (isPerVertex(value) && !fCrosses[value] && states[argument] == kIsFixed) {
                stay(n);
            }
        });
    }
    while (!staying.empty()) {
        const Index n = staying.back();
        staying.pop_back();
        forEachArgument(n, [&](Index value) { stay(fFlat.valueNode[value]); });
        forEachValue(n, [&](Index value) {
            if (!fCrosses[value]) {
                forEachReader(value, stay);
            }
        });
    }
    bool any = false;
    for (Index n = 0; n < fFlat.nodes.size(); ++n) {
        if (states[n] == kMaySink) {
            Index decider = kNone;
            commutes(fPlaced, n, decider);
            // A cone moves from its upper end: an argument that sank before names what it stands on.
            forEachArgument(n, [&](Index value) {
                const Index argument = fFlat.valueNode[value];
                if (decider == kNone && states[argument] == kMaySink) {
                    decider = place(argument).decider;
                }
            });
            moveDown(n, PlacedProgram::kSunk, decider);
            any = true;
        }
    }
    return any;
}

/// Readers first, each value gathers what it could stand in for: the affine values that cross now and
/// depend, of all per-vertex values that do not cross, on this one alone. They come up through nodes
/// that could sink with them: those that no other node at the vertex reads. A way up ends where a
/// node has two such arguments.
bool Crossings::choose() {
    struct Gathered {
        Index components = 0; // that cross, as chosen so far
        Index values = 0;     // that crossed before
        bool otherReaders = false;
        bool chosen = false;
    };
    std::vector<Gathered> gathered(fFlat.valueNode.size());
    std::vector<Index> standsOn(fFlat.nodes.size(), kNone); // the only value that the node waits for
    bool any = false;
    for (auto n = static_cast<Index>(fFlat.nodes.size()); n-- > 0;) {
        if (place(n).level != kVertexFreq || !isNeeded(n)) {
            continue;
        }
        Gathered sum;
        forEachValue(n, [&](Index value) {
            Gathered& own = gathered[value];
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
        bool several = false;
        forEachArgument(n, [&](Index value) {
            if (isPerVertex(value) && !fCrosses[value]) {
                several = several || (standsOn[n] != kNone && standsOn[n] != value);
                standsOn[n] = value;
            }
        });
        if (!maySink(n) || sum.values == 0 || sum.otherReaders || several) {
            standsOn[n] = kNone;
        }
        forEachArgument(n, [&](Index value) {
            gathered[value].otherReaders = gathered[value].otherReaders || value != standsOn[n];
        });
        if (standsOn[n] != kNone) {
            gathered[standsOn[n]].components += sum.components;
            gathered[standsOn[n]].values += sum.values;
        }
    }
    // From the top: what stands on a chosen value sinks, and takes back what was chosen on the way.
    std::vector<Index> sinksFor(any ? fFlat.nodes.size() : 0, kNone);
    for (Index n = 0; any && n < fFlat.nodes.size(); ++n) {
        if (standsOn[n] != kNone) {
            const Index above = fFlat.valueNode[standsOn[n]];
            sinksFor[n] = sinksFor[above] != kNone       ? sinksFor[above]
                          : gathered[standsOn[n]].chosen ? above
                                                         : kNone;
        }
        if (sinksFor[n] != kNone) {
            moveDown(n, PlacedProgram::kSunkForFewer, sinksFor[n]);
        } else {
            forEachValue(
                n, [&](Index value) { fCrosses[value] = fCrosses[value] || gathered[value].chosen ? 1 : 0; });
        }
    }
    return any;
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
}

} // namespace qvShadingDag
