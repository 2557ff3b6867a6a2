#pragma once

/// @file
/// Internal: what placement hands to those who write or run the two programs.

#include "conversion/Placement.h"
#include "evaluation/FlatProgram.h"

#include <string>
#include <vector>

namespace qvShadingDag {

/// A flat program whose nodes have their places: which of them the host computes, which the vertex
/// program, which the fragment program, and what crosses between the three.
///
/// Plain data. It refers to the functions behind its nodes without owning them.
struct PlacedProgram {
    using Index = FlatProgram::Index;
    static constexpr Index kNone = FlatProgram::kNone;

    /// Why a node is where it is; `placementReason` makes the words. The decider is the node that
    /// the words name.
    enum Reason : unsigned char {
        kNoReason,
        // Literals and inputs
        kWrittenLiteral,  ///< a literal of the source
        kGivenConstant,   ///< a constant input whose value is known
        kOpenConstant,    ///< a constant input whose value is not known yet
        kOncePerDraw,     ///< an input declared for the host at the latest
        kMapOrMatrix,     ///< an input that is delivered once per draw for its type
        kHostOncePerDraw, ///< an input that the host says to deliver once per draw
        kPerVertex,       ///< an input delivered per vertex
        kUsedPerFragment, ///< an input declared fragment: delivered per vertex, used later
        // Constant and uniform nodes
        kFolded,    ///< replaced by a literal
        kNotFinite, ///< constant, but no finite float
        kUnfolded,  ///< constant, but the decider's value is not known when the program is built
        kByHost,    ///< the host computes it once per draw
        kNotByHost, ///< uniform, but the host cannot compute the decider
        // Other nodes
        kDeclaredLevel,  ///< a header on the way says so
        kLatestArgument, ///< its latest argument is the decider, and that is all there is to it
        kPinned,         ///< the clip position, or the decider, a perVertex, needs it per vertex
        kRangeEnds,      ///< per vertex like the decider, whose range ends there
        kAffine,         ///< per vertex: interpolating the result is the same
        kFlat,           ///< per vertex: result and arguments travel without interpolation
        kNotShown,       ///< per vertex: neither a colour nor the depth needs it
        kInterpolated,   ///< per fragment: not affine in the decider, which is interpolated
        kSunk,           ///< per fragment: affine, and the decider crosses anyway
        kSunkForFewer,   ///< per fragment: affine, and less crosses when the decider does
    };

    /// Where a node is computed, and why.
    struct Place {
        unsigned char level = kInvalidFreq;   ///< kConstantFreq to kFragmentFreq
        unsigned char lowest = kInvalidFreq;  ///< its range allows no level below …
        unsigned char highest = kInvalidFreq; ///< … and none above
        Reason reason = kNoReason;
        bool pinned : 1 = false;        ///< the clip position or a perVertex needs it at the vertex
        bool anchored : 1 = false;      ///< it is a perVertex itself; then it is pinned, too
        bool shown : 1 = false;         ///< a colour or the depth needs it, not through a perVertex
        bool split : 1 = false;         ///< one of two nodes that were one: the pinned one, then the free one
        bool hoisted : 1 = false;       ///< uniform, and the host can compute it
        bool lightSpecific : 1 = false; ///< it is, or an input that it depends on
        Index decider = kNone;
        Index pinnedFor = kNone; ///< of a pinned node, the perVertex that needs it; none for the position
    };

    /// How a value gets into a program that does not compute it; as in `ValueCarrier`.
    enum Carrier : unsigned char {
        kAttribute,   ///< an input, per vertex, from the host
        kUniform,     ///< an input, once per draw, from the host
        kHoisted,     ///< a value that the host computes, once per draw
        kVarying,     ///< from the vertex program, interpolated; may be a matrix
        kFlatVarying, ///< from the vertex program: an int or a bool, the last vertex's
    };

    /// A value that crosses. A clampu input is clamped before it crosses, whatever carries it (the
    /// vertex program clamps an attribute first, the host a uniform). An attribute that crosses on as
    /// a varying stands here twice, once with each carrier. Maps that a declared level sends through
    /// an identity node do not cross: the reader takes the input behind it.
    struct Crossing {
        Index value;
        Carrier carrier;
        bool intoVertex;   ///< the vertex program reads it (an attribute: always)
        bool intoFragment; ///< the fragment program reads it (a varying: always)
    };

    /// What becomes of an output.
    enum Role : unsigned char { kDropped, kColor, kPosition, kDepth };

    /// The nodes in order of computation. A node that was split stands twice, the one for the
    /// position first, and arguments lead to the one that the reader needs.
    FlatProgram flat;
    std::vector<Place> places; ///< by node

    /// By value: the literal (among `flat.literals`) that it is or was folded into (constant inputs
    /// whose values were given, too); kNone for every other value. What has a literal stands in no
    /// list of nodes and no crossing.
    std::vector<Index> literalOf;

    /// What each computes (calls and identities), in order. A constant or uniform node that is neither
    /// folded nor hoisted stands in each program that needs it.
    std::vector<Index> hostNodes; ///< all that the hoisted values need
    std::vector<Index> vertexNodes;
    std::vector<Index> fragmentNodes;

    std::vector<Crossing> crossings; ///< in the order of their values
    std::vector<Role> roles;         ///< by output of `flat.outputs`

    /// By input: kConstantFreq, kUniformFreq (once per draw) or kVertexFreq (per vertex); kInvalidFreq
    /// where no program and no hoisted value reads it.
    std::vector<unsigned char> delivered;

    std::vector<std::string> notices; ///< whole sentences, such as which outputs are dropped
};

/// Thrown by `placeFunction`; the message is that of `Placement::errorString`.
struct PlacementFailure {
    PlacementFault fault;
    std::string message;
};

/// Places a function; throws a `PlacementFailure` when that cannot be done.
PlacedProgram placeFunction(const ShadingNodeSpec& function, const PlacementOptions& options);

/// What placing does without but programs need: colours are numbers, each name has one meaning, and
/// there is something to draw.
/// Throws a `PlacementFailure`.
void checkInterface(const ShadingNodeSpec& function, const PlacedProgram& placed);

/// Why a node is where it is, in words; never empty.
std::string placementReason(const PlacedProgram& placed, PlacedProgram::Index node);

/// "FILE:LINE" of a function's header, or of a node; empty where it is not known.
std::string placeOf(const ShadingNodeSpec& function);
std::string placeOf(const ShadingNode& node);

} // namespace qvShadingDag
