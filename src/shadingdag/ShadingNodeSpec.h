#pragma once

#include "base/Export.h"
#include "core/DataType.h"
#include "shadingdag/CompFreqRange.h"
#include "shadingdag/FileLocation.h"
#include "shadingdag/ShadingAttribute.h"
#include "shadingdag/ShadingLink.h"
#include "shadingdag/ShadingNode.h"
#include "shadingdag/TypedConstant.h"

#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qvShadingDag {

struct LinkSource;

/// One function of the shading language: its name, its interface and, for a defined function, the
/// directed acyclic graph that computes its outputs.
///
///     ShadingNodeSpec* twice = ShadingNodeSpec::createNew(kFunctionNode);
///     twice->setName("twice");
///     ShadingAttribute x = *twice->addInput(kFloat, "x", CompFreqRange());
///     ShadingAttribute output = *twice->addOutput(kFloat, "output", CompFreqRange());
///     ShadingNode* sum = twice->addInternalNode("operator+", {x, x});
///     twice->connectOutput(ShadingAttribute(sum, "output"), output);
///     twice->addToLibrary();
///
/// A function owns its nodes and links; number, order and names of both are visible to hosts. The
/// process-wide function library owns the functions that were added to it until `clearLibrary`; any
/// other one (a new one, a clone) belongs to the caller, who deletes it. Calls refer to the function
/// that they call without owning it: a function must not be used any more once one that it calls is
/// destroyed.
///
/// The nodes of a function can be made something else by their own setters and by assignment. The
/// function is then changed: before it is cloned, or calls in it are expanded or replaced, and before
/// its body is put in place of a call, it is checked in full. That throws, and changes nothing, unless
/// every input, output and constant node is on its list and under its name, no node is of no kind, no
/// link leaves an output and no link closes a circle. Orders, distances and drawings take any graph.
///
/// Nothing is locked. Several threads may look at functions at the same time (walk, order, measure and
/// draw them, and look them up) while none makes, changes, copies or destroys any part of any graph:
/// also functions that have nothing else in common share the library and the counts of live objects.
///
/// Where memory runs out, `std::bad_alloc` is thrown and the function is as it was, unless a member
/// says otherwise.
class QV_EXPORT ShadingNodeSpec {
public:
    using AttributeIterator = std::list<ShadingAttribute>::const_iterator;
    using ArgumentIterator = std::list<std::pair<NodeType, ShadingAttribute>>::const_iterator;
    using NodeIterator = std::list<ShadingNode*>::const_iterator;
    using LinkIterator = std::list<ShadingLink*>::const_iterator;
    using LibraryIterator = std::multimap<std::string, ShadingNodeSpec*>::const_iterator;

    /// The number of live objects.
    static int fsNumInstances_ShadingNodeSpec;

    /// An empty function that belongs to the caller: `kOperationNode` for a primitive without
    /// a body, `kFunctionNode` for a function with one. Null for any other kind, and when there is no
    /// memory for it.
    static ShadingNodeSpec* createNew(NodeType kind);

    ShadingNodeSpec(const ShadingNodeSpec&) = delete;
    ShadingNodeSpec& operator=(const ShadingNodeSpec&) = delete;
    /// Destroys all nodes and links, and leaves the library.
    ~ShadingNodeSpec();

    /// A deep copy that belongs to the caller and is not in the library: numbers, names, lists and
    /// ranges are the same, no pointer leads into the original. Throws where a changed function does
    /// not fit together.
    ShadingNodeSpec* clone() const;

    /// `kOperationNode` for a primitive, `kFunctionNode` for a function with a body.
    NodeType nodeType() const { return fNodeType; }
    /// Renames the function. In the library it stays under the name that it had when it was added.
    void setName(const std::string& name) { fName = name; }
    /// The name of the function.
    const std::string& name() const { return fName; }

    /// The file that the header stands in, under the name by which it was read; empty when unknown.
    const std::string& sourceFile() const { return fSourceFile; }
    /// The place of the header's first character, as an editor counts lines and columns; 0, 0 when
    /// unknown.
    const FileLocation& sourceLocation() const { return fSourceLocation; }
    /// Sets both.
    void setSource(const std::string& file, const FileLocation& location);

    /// Whether the function is complete: it has entered the library.
    bool isFullySpecified() const { return fFullySpecified; }
    /// On purpose: the answer is always true, also with outputs that nothing is connected to.
    bool isProperlyConnected() const { return true; }

    /// @name The interface
    /// @{

    /// Append a parameter and return it. A defined function gets a node for it, which the parameter
    /// then names. The output called "output" is the value that the function returns: it is not on
    /// the argument list. The pointers stay valid as long as the function lives.
    const ShadingAttribute* addInput(DataType type, const std::string& name, const CompFreqRange& range);
    /// Appends an output and returns it, as `addInput` does.
    const ShadingAttribute* addOutput(DataType type, const std::string& name, const CompFreqRange& range);

    /// The number of inputs.
    int numInputs() const { return static_cast<int>(fInputs.size()); }
    /// The number of outputs.
    int numOutputs() const { return static_cast<int>(fOutputs.size()); }
    /// The input at position `i`, counted from 0. Throws when there is none. Walks the list.
    const ShadingAttribute& input(int i) const;

    /// The begin and end of the inputs. These lists are in declaration order; that of the constants
    /// has one entry per constant of the body.
    void inputs(AttributeIterator& first, AttributeIterator& last) const;
    /// The begin and end of the outputs.
    void outputs(AttributeIterator& first, AttributeIterator& last) const;
    /// The begin and end of the constants.
    void constants(AttributeIterator& first, AttributeIterator& last) const;
    /// What a call is matched against: all parameters in source order, each marked `kInputNode` or
    /// `kOutputNode`.
    void arguments(ArgumentIterator& first, ArgumentIterator& last) const;

    /// Whether a call with these arguments is a call of this function: as many as there are
    /// parameters, of exactly the same types.
    bool matchArguments(const std::list<ShadingAttribute>& args) const;

    /// The position (from 0) of the first input of that name; -1 when there is none.
    int getOffsetOfInput(const std::string& name) const;
    /// That position, and a copy of the input in `found`, which stays as it was when there is none.
    int getOffsetOfInput(const std::string& name, ShadingAttribute& found) const;
    /// The position (from 0) of the first output of that name; -1 when there is none.
    int getOffsetOfOutput(const std::string& name) const;

    /// The type of the first input of that name; `kInvalidDataType` when there is none.
    DataType dataTypeOfInput(const std::string& name) const;
    /// The type of the first output of that name; `kInvalidDataType` when there is none.
    DataType dataTypeOfOutput(const std::string& name) const;
    /// The type of the first constant of that name; `kInvalidDataType` when there is none.
    DataType dataTypeOfConstant(const std::string& name) const;
    /// @}

    /// @name The graph
    /// @{

    /// The begin and end of the nodes, in the order in which they were made.
    void internalNodes(NodeIterator& first, NodeIterator& last) const;
    /// The begin and end of the links, in the order in which they were made.
    void internalLinks(LinkIterator& first, LinkIterator& last) const;

    /// Makes a constant node. Its value is its output "output".
    ShadingNode* addInternalNode(const TypedConstant& constant);

    /// Makes a call of the first function in the library that has that name and matches `args`, and
    /// links the arguments to its inputs. Arguments for outputs are not used.
    ///
    /// Throws without any change when no function matches, when a value is used before it is
    /// assigned, and when a value belongs to another graph. Throws when the frequencies of an
    /// argument are not among those that the parameter allows. Takes linear time in the overloads of
    /// that name.
    ///
    /// On purpose: a call that is refused for its frequencies stays in the graph, with the links that
    /// were made before.
    ShadingNode* addInternalNode(const std::string& functionName, const std::list<ShadingAttribute>& args);

    /// Links the value `from` to the output of this function that `to` names. A value that is itself
    /// an output which nothing was assigned to leaves the output unconnected. Throws when `from` has
    /// no node in this graph or `to` is no output of it.
    void connectOutput(const ShadingAttribute& from, const ShadingAttribute& to);

    /// The first link that feeds the input of that name; null when there is none and for a node
    /// that is not in this graph.
    ShadingLink* inputLinkOfNode(const ShadingNode* node, const std::string& inputName) const;

    /// Works out the frequencies at which each output of a call can be computed from those of the
    /// links that feed it. Other nodes are left alone. Throws when an input is not connected.
    void evaluateCompFrequencies(ShadingNode* node);

    /// Works out the frequencies of every call, each behind those that feed it, and gives every link that
    /// leaves a call the new range of the output that it reads. After an expansion, which leaves the ranges
    /// behind the call as they are, all ranges of the graph are true again. Throws without any change when an
    /// input is not connected; where memory runs out, some ranges may be new.
    void evaluateAllCompFrequencies();
    /// @}

    /// @name Expansion
    /// What is added goes behind everything that is there. The links of the calls that disappear are
    /// destroyed with them; pointers to all other nodes stay valid.
    /// @{

    /// Puts the body of the function that `callNode` calls in its place; a node that is no call of a
    /// function stays. Takes linear time in the body and the links of the call.
    ///
    /// On purpose: a link that left the call keeps its source attribute name, so that the name need not
    /// be one of the node that it now leaves; `ShadingLink::sourceOutput` tells what it reads. The
    /// ranges of the nodes behind the call are not evaluated again.
    ///
    /// A link that left the call is made anew, and so goes behind the other links into the same node.
    /// Where a function has two inputs of one name, or an output is connected twice, the first link
    /// counts: which one that is, and with it the value, may then change with an expansion.
    ///
    /// Throws without any change when an input of the call or in the body is not connected, when the
    /// body does not connect an output that is used, and where this function or the called one was
    /// changed and does not fit together.
    void expandNode(ShadingNode* callNode);

    /// Expands calls until only calls of primitives are left, those in the bodies included.
    ///
    /// Throws without any change where `expandNode` would for any of them, when a function calls
    /// itself, directly or not, when this function would have more than 2^24 nodes and links at any
    /// time on the way, and when more than 2^24 calls would have to be expanded. Where memory runs out
    /// before that limit, as it may in a 32-bit program, some calls are expanded and the others are
    /// not: the function computes the same and can be used and destroyed.
    void expandFunctionCalls();

    /// Calls `replacement` in place of `node`, with the same links, and returns the new call.
    ///
    /// Null without any change when the parameters (kind and type of each, and the returned type)
    /// differ, when there are fewer of them, and when `node` is no call of this graph. Parameters
    /// beyond those of `node` need `allowExtraInputs`; each extra input becomes an input of this
    /// function, marked as light specific; null when there is an input of that name already. Ranges are
    /// evaluated where the replacement has the names of the connected inputs, and taken over otherwise.
    /// Throws without any change where this function was changed and does not fit together.
    ShadingNode* replaceOperationNode(ShadingNode* node, ShadingNodeSpec* replacement, bool allowExtraInputs);
    /// @}

    /// @name Scheduling
    /// Upstream is the direction from a node to the nodes that feed it. Nothing here recurses, and
    /// time is linear in nodes and links but for the look-ups in the maps.
    /// @{

    /// Appends all nodes to `result`: upstream, every node behind the nodes that feed it, otherwise
    /// behind the nodes that it feeds. Depth first from the nodes in list order, neighbours in the
    /// order of their links.
    void fastTopoSort(std::list<ShadingNode*>* result, bool upstream) const;

    /// Appends all nodes to `result`, every node behind the nodes that feed it. Depth first from the
    /// nodes that feed nothing, in list order, and at each node to the feeding node with the
    /// greatest distance first; equal ones in the order of their links. A feeding node that is not
    /// in `distance` counts as 0 and is added to it.
    void optimalTopoSort(std::map<ShadingNode*, unsigned int>& distance,
                         std::list<ShadingNode*>* result) const;

    /// The sort behind it: starting at every node in turn or only at those that feed nothing, and
    /// with the farthest or the nearest feeding node first.
    void topoSortByDistance(std::map<ShadingNode*, unsigned int>& distance, std::list<ShadingNode*>* result,
                            bool onlyFromEnds, bool farthestFirst) const;

    /// Sets the number of links on the shortest way from `start` to every other node that can be
    /// reached. The entry of `start` is not written: it is where counting begins, 0 when it is
    /// missing.
    void computeDistance(ShadingNode* start, std::map<ShadingNode*, unsigned int>& distance,
                         bool upstream) const;

    /// For `node` and every node that can be reached from it: sets `result` to the largest value of
    /// `distance` among the node itself and all nodes that it reaches. A missing distance reads as
    /// 0. Both maps may be one.
    void computeDeepestChildrenDistance(ShadingNode* node, std::map<ShadingNode*, unsigned int>& distance,
                                        std::map<ShadingNode*, unsigned int>& result, bool upstream) const;
    /// @}

    /// @name The function library
    /// @{

    /// Hands the function over to the library, under its name. Once is enough.
    void addToLibrary();
    /// The first function added under that name; null when there is none. Takes logarithmic time.
    static ShadingNodeSpec* findSpecInLibrary(const std::string& name);
    /// All functions added under that name, in the order of their adding.
    static void findSpecsInLibrary(const std::string& name, LibraryIterator& first, LibraryIterator& last);
    /// The whole library: by the bytes of the names, functions of one name in the order of their
    /// adding.
    static void allSpecsInLibrary(LibraryIterator& first, LibraryIterator& last);
    /// Destroys all functions of the library, and those that were replaced by a newer reading.
    static void clearLibrary();
    /// @}

private:
    friend class BodyCopier;
    friend class ExpansionCheck;
    friend class FlatGraph;
    friend class GraphUndo;
    friend class LibraryReplacement;
    friend class ShadingNode; // marks its function as changed

    explicit ShadingNodeSpec(NodeType kind);

    const ShadingAttribute* addParameter(NodeType kind, DataType type, const std::string& name,
                                         const CompFreqRange& range);
    void indexLastOutput();
    ShadingNode* addNode(std::unique_ptr<ShadingNode> node);
    ShadingLink* makeLink(const LinkSource& from, ShadingNode* dest, const std::string& destName);
    void destroyLink(ShadingLink* link);
    void destroyNode(ShadingNode* node);
    void destroyCall(ShadingNode* node);
    void dropUnusedSlots();
    void checkOwns(const ShadingNode* node) const;
    void checkIfChanged() const;
    [[noreturn]] void throwChanged(const std::string& what) const;
    void checkReadable(const ShadingAttribute& value) const;
    const ShadingAttribute* evaluateWhereConnected(ShadingNode& node);
    static void takeOverRanges(const ShadingNode& from, const std::vector<int>& matchingOutputs,
                               ShadingNode& to);

    static std::multimap<std::string, ShadingNodeSpec*> fLibrary;
    static std::multimap<std::string, ShadingNodeSpec*> fReplaced; // by a newer reading of their file

    std::string fName;
    std::string fSourceFile;
    FileLocation fSourceLocation{0, 0};
    NodeType fNodeType;
    bool fFullySpecified = false;
    std::multimap<std::string, ShadingNodeSpec*>* fHome = nullptr;        // which of the two holds it
    std::multimap<std::string, ShadingNodeSpec*>::iterator fLibraryPlace; // while one does
    std::list<ShadingAttribute> fInputs;
    std::list<ShadingAttribute> fOutputs;
    // The offset and type of the first output of each name; empty while there are only a few outputs.
    std::unordered_map<std::string_view, std::pair<int, DataType>> fOutputIndex;
    std::list<ShadingAttribute> fConstants;
    std::list<std::pair<NodeType, ShadingAttribute>> fArguments;
    std::list<ShadingNode*> fInternalNodes;
    std::list<ShadingLink*> fInternalLinks;

    // The graph once more, in arrays, for whoever walks all of it: the nodes, and for each link the
    // slots of its source and destination in the first array, both in list order. The slots of what
    // was destroyed stay unused for a while.
    static constexpr unsigned int kNoSlot = ~0U;
    std::vector<ShadingNode*> fNodeSlots;                          // null: unused
    std::vector<std::pair<unsigned int, unsigned int>> fLinkSlots; // kNoSlot twice: unused

    mutable bool fNodesChanged = false; // by their own setters, since the last check
    unsigned int fNextNodeNumber = 0;
    unsigned int fNextLinkNumber = 0;
};

} // namespace qvShadingDag
