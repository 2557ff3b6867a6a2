#pragma once

#include "base/Export.h"
#include "core/DataType.h"
#include "shadingdag/CompFreqRange.h"

#include <list>
#include <string>

namespace qvShadingDag {

class ShadingNode;
class ShadingNodeSpec;

/// Carries a value from an output of one node to an input of another.
///
/// Only a `ShadingNodeSpec` makes and destroys links; it keeps each on its own list, on the list of
/// outgoing links of the source node and on the list of incoming links of the destination node.
class QV_EXPORT ShadingLink {
public:
    /// The number of live objects.
    static int fsNumInstances_ShadingLink;

    /// The sequence number within the function.
    unsigned int number() const { return fNumber; }
    /// The node that the link leaves.
    ShadingNode* sourceNode() const { return fSourceNode; }
    /// The node that the link enters.
    ShadingNode* destNode() const { return fDestNode; }

    /// The name under which the value was read when the link was made. After an expansion the link
    /// leaves another node and still has that name; `sourceOutput` says what it reads there.
    const std::string& sourceAttrName() const { return fSourceAttrName; }
    /// Renames the source; when the source is a call with an output of that name, the link reads
    /// that output from now on.
    void setSourceAttrName(const std::string& name);

    /// The output that the link reads, when its source is a call: the position (from 0) among the
    /// outputs of the called function; -1 when the source is no call or has no such output.
    int sourceOutput() const { return fSourceOutput; }

    /// The name of the input that the link feeds.
    const std::string& destAttrName() const { return fDestAttrName; }
    /// Renames the input.
    void setDestAttrName(const std::string& name) { fDestAttrName = name; }

    /// The type of the carried value.
    DataType dataType() const { return fDataType; }
    /// Sets that type.
    void setDataType(DataType type) { fDataType = type; }

    /// The frequencies at which the carried value can be computed.
    const CompFreqRange& compFreqRange() const { return fCompFreqRange; }
    /// Sets those frequencies.
    void setCompFreqRange(const CompFreqRange& range) { fCompFreqRange = range; }

protected:
    ShadingLink();
    /// Copies what the link carries and what it joins; the copy is on no list.
    ShadingLink(const ShadingLink& other);
    ShadingLink& operator=(const ShadingLink& other);
    ~ShadingLink();

private:
    friend class ShadingNodeSpec;

    void reset();

    ShadingNode* fSourceNode = nullptr;
    ShadingNode* fDestNode = nullptr;
    unsigned int fNumber = 0;
    int fSourceOutput = -1;
    unsigned int fSlot = 0; // in the owner's flat arrays
    std::string fSourceAttrName;
    std::string fDestAttrName;
    CompFreqRange fCompFreqRange;
    DataType fDataType = kInvalidDataType;

    // Where the link stands on the lists of its source, its destination and its function.
    std::list<ShadingLink*>::iterator fSourcePlace;
    std::list<ShadingLink*>::iterator fDestPlace;
    std::list<ShadingLink*>::iterator fPlace;
};

} // namespace qvShadingDag
