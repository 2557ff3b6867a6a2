#pragma once

#include "shadingdag/ShadingNodeSpec.h"

#include <string>
#include <vector>

/// Functions of the library, by the bytes of their names, overloads in the order of their files.
using Functions = std::vector<qvShadingDag::ShadingNodeSpec*>;

/// Reads a file, with a parser of its own, behind what the library holds and returns the functions
/// that it added. Throws a `Failure` with all errors of the file when it has one.
Functions readFile(const std::string& file);

/// The same, but silent about errors: what stands above the first one is added. With `text`, that is
/// read as a file of the name `file`.
Functions addToLibrary(const std::string& file, const std::string* text = nullptr);

/// The functions among `functions` that `wanted` stands for: a name or a signature, else a pattern of
/// a name ("lam*") or a part of one. Throws a `Failure` that suggests others when there are none.
Functions listedFunctions(const Functions& functions, const std::string& wanted);

/// The functions among `functions` that `wanted`, a name or a signature, stands for; throws a
/// `Failure` that suggests others when there are none.
Functions matchingFunctions(const Functions& functions, const std::string& wanted);

/// The one function to show for `wanted`; throws a `Failure` when there is none or a name is not
/// enough.
qvShadingDag::ShadingNodeSpec* chooseFunction(const Functions& functions, const std::string& wanted);

/// "mix(float3,float3,float)", the text that chooses a function.
std::string signature(const qvShadingDag::ShadingNodeSpec& spec);

/// The function as its header would be written: "vertex float3 f(uniform:fragment float3 x)".
std::string header(const qvShadingDag::ShadingNodeSpec& spec);

/// How many nodes and links a graph has.
int numNodes(const qvShadingDag::ShadingNodeSpec& spec);
int numLinks(const qvShadingDag::ShadingNodeSpec& spec);
