#pragma once

#include "shadingdag/ShadingNodeSpec.h"

#include <list>
#include <map>
#include <string>

/// The size of a graph and when it is computed.
struct Measures {
    int nodes = 0;
    int links = 0;
    int depth = 0; ///< links on the longest way
    /// Calls by the lowest frequency of their first output; by level, "invalid" first.
    int callsAt[qvShadingDag::kFragmentFreq + 1] = {};
};

Measures measure(const qvShadingDag::ShadingNodeSpec& spec);

/// By node, the number of links on the shortest way to an output; nodes that no output needs are
/// not in it.
std::map<qvShadingDag::ShadingNode*, unsigned int>
distancesToOutputs(const qvShadingDag::ShadingNodeSpec& spec);

/// What a node stands for: "input float3 n", "{1,0,0}", "dot(float3,float3)".
std::string meaning(const qvShadingDag::ShadingNode& node);

/// The place of a node: the line, behind the file's name where that is not `givenFile`; empty when it
/// is not known.
std::string lineOf(const std::string& file, const qvShadingDag::FileLocation& location,
                   const std::string& givenFile);

/// By node, the number of links on the longest way from a node without arguments.
std::map<const qvShadingDag::ShadingNode*, int> levelsOf(const std::list<qvShadingDag::ShadingNode*>& order);

/// The frequencies at which a node's value can be computed; one after the other, with their names,
/// for a call of several outputs.
std::string frequencies(const qvShadingDag::ShadingNode& node);
