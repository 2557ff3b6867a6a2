#pragma once

#include "base/Export.h"
#include "core/DataType.h"
#include "shadingdag/CompFreqRange.h"
#include "shadingdag/FileLocation.h"
#include "shadingdag/TypedConstant.h"

#include <list>
#include <map>
#include <memory>
#include <string>

namespace qvShadingDag {

class ShadingLink;
class ShadingNodeSpec;
struct NodeOrigin;

/// What a node of a shading graph stands for; a `ShadingNodeSpec` has one of the last two kinds.
enum NodeType : int {
    kInvalidNodeType = 0,
    kInputNode,     ///< an input of the function whose graph it is
    kOutputNode,    ///< an output of that function
    kConstantNode,  ///< a literal value
    kOperationNode, ///< a call of a declared primitive
    kFunctionNode,  ///< a call of a function that is defined by a graph of its own
};

/// One node of the graph that defines a shading function.
///
/// A `ShadingNodeSpec` makes, numbers, joins and destroys the nodes of its graph; hosts walk them:
///
///     for (const ShadingLink* link : node->incomingLinks()) {
///         visit(link->sourceNode());
///     }
///
/// A node owns the constant that it holds. Links and the called function are not owned.
class QV_EXPORT ShadingNode {
public:
    /// The number of live objects.
    static int fsNumInstances_ShadingNode;

    /// A node of no kind that stands in no graph.
    ShadingNode();
    /// A copy with a constant of its own. The copy stands in no graph: its lists name the links of
    /// the node it was taken from, and no link leads to it.
    ShadingNode(const ShadingNode& other);
    /// Copies what the node stands for. A node that stands in a graph keeps its number and links, and
    /// its function counts as changed, as by the setters.
    ShadingNode& operator=(const ShadingNode& other);
    /// Destroys the constant. The links belong to the function.
    ~ShadingNode();

    /// The sequence number within the function.
    unsigned int number() const { return fNumber; }
    /// The links that end here, in the order in which they were connected.
    const std::list<ShadingLink*>& incomingLinks() const { return fIncomingLinks; }
    /// The links that start here, in the order in which they were connected.
    const std::list<ShadingLink*>& outgoingLinks() const { return fOutgoingLinks; }

    /// @name What the node stands for
    /// A function makes its nodes what they are. One of them can be made something else; its links and
    /// the lists of the function stay as they are, so that the function may no longer fit together. It
    /// counts as changed from then on, see ShadingNodeSpec.
    /// @{

    /// Becomes an input of the enclosing function.
    void setInput(DataType type, const std::string& name);
    /// Becomes an output of the enclosing function.
    void setOutput(DataType type, const std::string& name);
    /// Becomes a literal: holds a copy of `constant`, with the frequency "constant".
    void setConstant(const TypedConstant& constant);
    /// Becomes a call of `spec`, of the kind that `spec` has. Throws when that is no function.
    void setOperator(ShadingNodeSpec* spec);
    /// @}

    /// The kind of the node.
    NodeType nodeType() const { return fNodeType; }
    /// The type of an input, output or constant; `kInvalidDataType` for a call.
    DataType dataType() const { return fDataType; }
    /// The literal value. Throws when the node is no constant.
    const TypedConstant& constant() const;
    /// The called function; null when the node is no call.
    ShadingNodeSpec* specPtr() const { return fSpec; }
    /// Whether the node calls a primitive or a function.
    bool isCall() const { return fNodeType == kOperationNode || fNodeType == kFunctionNode; }

    /// Marks the value of the node as specific to a light.
    void setLightSpecific(bool lightSpecific) { fLightSpecific = lightSpecific; }
    /// Whether it is marked so.
    bool isLightSpecific() const { return fLightSpecific; }

    /// The name of an input or output, the printed value of a constant, the name of the called
    /// function; otherwise "invalidNodeType".
    std::string name() const;

    /// The node's own type; for a call that of the called function's input of that name,
    /// `kInvalidDataType` when there is none.
    DataType dataTypeOfInput(const std::string& name) const;
    /// The node's own type; for a call that of the called function's output of that name,
    /// `kInvalidDataType` when there is none.
    DataType dataTypeOfOutput(const std::string& name) const;

    /// Sets the frequencies at which the output `name` can be computed. A node that is no call has
    /// one range only, whatever the name.
    void addOutputCompFreqRange(const std::string& name, const CompFreqRange& range);
    /// The range set before, [0, 0] at first. For a call, throws when none was set for `name`.
    CompFreqRange compFreqRangeOfOutput(const std::string& name) const;

    /// @name Where the node was written
    /// The parser knows it, and it goes along when the node is cloned, copied into another function
    /// by an expansion, or replaced. Of a node that a host made it is unknown until `setSource`.
    /// @{

    /// The file, under the name by which it was read; empty when unknown.
    const std::string& sourceFile() const;
    /// The place of the first character, as an editor counts lines and columns; 0, 0 when unknown.
    /// It is that of the parameter's name (of the return type, for the returned value), of the
    /// literal, of the called function's name, of the operator or of the swizzle pattern.
    const FileLocation& sourceLocation() const { return fSourceLocation; }
    /// The function in whose body it was written; after an expansion not the one where it stands.
    const std::string& originFunction() const;
    /// The variable that was bound to the node's value first, a parameter included; empty when there
    /// is none, as for a value that is returned at once.
    const std::string& variableName() const;
    /// Sets all four.
    void setSource(const std::string& file, const FileLocation& location, const std::string& function,
                   const std::string& variable);
    /// @}

private:
    friend class BodyCopier;
    friend class FlatGraph;
    friend class ShadingNodeSpec;
    friend class ShadingParser;

    void copyMeaning(const ShadingNode& other);
    void copyOrigin(const ShadingNode& other);
    void markOwner();
    void becomeInterface(NodeType kind, DataType type, const std::string& name);

    unsigned int fNumber = 0;
    unsigned int fSlot = 0; // in the owner's flat arrays
    NodeType fNodeType = kInvalidNodeType;
    std::list<ShadingLink*> fIncomingLinks;
    std::list<ShadingLink*> fOutgoingLinks;
    ShadingNodeSpec* fSpec = nullptr;
    std::unique_ptr<TypedConstant> fConstant;
    ShadingNodeSpec* fOwner = nullptr;        // the function in whose graph the node stands
    std::list<ShadingNode*>::iterator fPlace; // in the owner's node list
    DataType fDataType = kInvalidDataType;
    CompFreqRange fOwnRange{kInvalidFreq, kInvalidFreq};
    FileLocation fSourceLocation{0, 0};
    std::shared_ptr<const NodeOrigin> fOrigin; // null: unknown
    bool fLightSpecific = false;
    std::string fName;
    std::map<std::string, CompFreqRange> fOutputRanges; // of calls
};

} // namespace qvShadingDag
