#pragma once

#include "base/Export.h"
#include "core/DataType.h"
#include "shadingdag/CompFreqRange.h"

#include <string>

namespace qvShadingDag {

class ShadingNode;

/// A named value of the shading graph: a parameter of a function, an output of a node, a variable.
///
///     ShadingNode* sum = spec->addInternalNode("operator+", {a, b});
///     ShadingAttribute value(sum, "output"); // type and range are those of the node's output
///
/// The node is not owned. It is null for the interface of a declared function and for a variable
/// that nothing was assigned to yet.
class QV_EXPORT ShadingAttribute {
public:
    /// The number of live objects.
    static int fsNumInstances_ShadingAttribute;

    /// No name, no type, no node.
    ShadingAttribute();
    /// Without a node; every frequency.
    ShadingAttribute(const std::string& name, DataType type);
    /// The output `name` of `node`, with the type and range that the node gives for it. Throws when
    /// there is no node and when a call node has no range for that name.
    ShadingAttribute(ShadingNode* node, const std::string& name);
    ShadingAttribute(const ShadingAttribute& other);
    ShadingAttribute(ShadingAttribute&& other) noexcept;
    /// A copy of `*other`; of the default attribute for a null pointer. What `addInput` and `addOutput`
    /// return thus stands for its value: `f->connectOutput(in, out)`, `f->addInternalNode("g", {in, in})`.
    ShadingAttribute(const ShadingAttribute* other); // NOLINT(google-explicit-constructor)
    ShadingAttribute& operator=(const ShadingAttribute& other);
    ShadingAttribute& operator=(ShadingAttribute&& other) noexcept;
    ~ShadingAttribute();

    /// The name; empty without one.
    const std::string& name() const { return fName; }
    /// The type of the value.
    DataType dataType() const { return fDataType; }
    /// The node that has the value; null without one. Not owned.
    ShadingNode* nodePtr() const { return fNode; }
    /// Lets the value come from another node.
    void setNodePtr(ShadingNode* node) { fNode = node; }
    /// The frequencies at which the value can be computed.
    const CompFreqRange& compFreqRange() const { return fCompFreqRange; }
    /// Sets those frequencies.
    void setCompFreqRange(const CompFreqRange& range) { fCompFreqRange = range; }

    /// Whether there are a name and a type.
    bool valid() const { return !fName.empty() && fDataType != kInvalidDataType; }

    /// Orders by the address of the node, then by the bytes of the name; type and range take no
    /// part.
    bool operator<(const ShadingAttribute& other) const;

private:
    std::string fName;
    DataType fDataType = kInvalidDataType;
    ShadingNode* fNode = nullptr;
    CompFreqRange fCompFreqRange;
};

} // namespace qvShadingDag
