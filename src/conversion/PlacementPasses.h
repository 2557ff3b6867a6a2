#pragma once

/// @file
/// Internal: the steps of placement, each over a whole flat program, without recursion and in linear
/// time. `placeFlatProgram` takes them in the order of this file.
///
/// A range says where a value may be computed. Only the way from the vertex to the fragment program
/// changes a value, because it is interpolated there, and interpolating commutes with affine
/// functions alone. The rules, in the order of the code:
///
///  1. Delivery. Maps, matrices and inputs declared for the host at the latest come once per draw,
///     all others per vertex; `fragment` ones are used from the fragment program on. The host may say
///     otherwise, within the declared range. Inputs declared constant have their value from the host
///     before anything runs, or are left open.
///  2. Outputs. `output`, or without it `color`, is the colour; a float4 `position` that may be
///     computed per vertex the clip position; a float `depth` the depth. All others are dropped.
///  3. Ranges, arguments first: both ends are the latest of the arguments, and the lowest level is
///     raised to the node's floor.
///  4. Needs, readers first. Pinned is what the clip position and the arguments of a perVertex are
///     computed from, and every perVertex itself; shown is what the colour and the depth are computed
///     from, where the way down from it does not lead through an argument of a perVertex. A node that
///     is not pinned is free.
///  5. Places, arguments first. A node runs at the latest level of its arguments and its floor. Under
///     the exact policy a node that would so run per vertex goes to the fragment program when it is
///     shown, its range reaches that far, and it is not affine in its per-vertex arguments. What is
///     both pinned and shown is judged as if it were free; where the two answers differ, the node is
///     split into a pinned one and a free one. A pinned node that cannot run per vertex is an error.
///  6. Affine. A node is affine in its per-vertex arguments when one of the sets of its primitive
///     holds all of them. Ints and bools are not interpolated: as arguments of a result that is, they
///     are in no set; a node whose per-vertex arguments and results all travel so commutes with the
///     crossing, whatever it computes.
///  7. Sinking, under the exact policy: a free affine node whose readers all run per fragment, or sink
///     with it, and whose per-vertex arguments cross anyway, or sink with it, sinks to the fragment
///     program. Of all sets of nodes with that property the largest sinks.
///  8. Choosing, under the exact policy: where several affine values are computed from one per-vertex
///     value and cross with more components than that has, it crosses instead and they sink. Where
///     several values on one way would do, the one with the fewest components is taken, among equals
///     the latest. Sinking and choosing take turns until neither finds anything.
///  9. Constants with kernels are folded into literals where the result is a finite float; uniform
///     nodes with kernels are hoisted to the host.
/// 10. Programs, readers first: what the outputs need, down to what crosses. A constant or uniform
///     node that is neither folded nor hoisted is computed in each program that reads it.

#include "conversion/PlacedProgram.h"

#include <string>

namespace qvShadingDag {

inline bool isMap(DataType type) {
    return type >= kTexObj && type <= kTexObjRECT;
}
/// Whether values of a type cross from the vertex to the fragment program without interpolation.
inline bool travelsFlat(DataType type) {
    return type == kBool || (type >= kInt && type <= kInt4);
}

/// What a node does to the per-vertex values that it reads, as rule 6 has it.
enum Commuting : unsigned char {
    kReadsNone, ///< it reads no per-vertex value
    kIsAffine,
    kTravelsFlat, ///< neither it nor what it reads is interpolated
    kIsNotAffine,
};

/// `decider` becomes the first per-vertex argument; where the node is not affine, one that travels
/// flat comes before the others.
Commuting commutes(const PlacedProgram& placed, PlacedProgram::Index node, PlacedProgram::Index& decider);

/// Throws the failure of a function, with its place and name before the text.
[[noreturn]] void refuseFunction(const ShadingNodeSpec& function, const std::string& what);

void deliverInputs(PlacedProgram& placed, const ShadingNodeSpec& function, const PlacementOptions& options);
void assignRoles(PlacedProgram& placed, const ShadingNodeSpec& function);
void evaluateRanges(PlacedProgram& placed);
void markNeeds(PlacedProgram& placed);
void placeNodes(PlacedProgram& placed, const ShadingNodeSpec& function, PlacementPolicy policy);
void splitNodes(PlacedProgram& placed);
/// Sinking and choosing.
void sinkAffine(PlacedProgram& placed);
void foldConstants(PlacedProgram& placed);
void hoistUniforms(PlacedProgram& placed);
void assignPrograms(PlacedProgram& placed);

/// All of them, over a flat program that is already there.
void placeFlatProgram(PlacedProgram& placed, const ShadingNodeSpec& function,
                      const PlacementOptions& options);

} // namespace qvShadingDag
