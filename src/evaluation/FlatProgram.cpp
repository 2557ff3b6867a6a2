#include "evaluation/FlatProgram.h"

#include "core/Exception.h"
#include "shadingdag/FlatGraph.h"
#include "shadingdag/InputFinder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <unordered_map>
#include <utility>

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;
constexpr Index kNone = FlatProgram::kNone;
constexpr std::uint64_t kMaxNodes = std::uint64_t(1) << 24U;

/// The floor that a declared range asks for.
unsigned char floorOf(const CompFreqRange& declared) {
    return static_cast<unsigned char>(std::clamp(declared.lowest(), kConstantFreq, kFragmentFreq));
}

std::vector<const ShadingAttribute*> outputsOf(const ShadingNodeSpec& spec) {
    std::vector<const ShadingAttribute*> outputs;
    ShadingNodeSpec::AttributeIterator first;
    ShadingNodeSpec::AttributeIterator last;
    for (spec.outputs(first, last); first != last; ++first) {
        outputs.push_back(&*first);
    }
    return outputs;
}

/// The body of one function: the nodes that its outputs need, in an order of computation. Its values
/// are numbered from 0, the inputs first.
struct Body {
    const ShadingNodeSpec* spec = nullptr;
    Index inputCount = 0;
    Index valueCount = 0;
    Index firstNode = 0;   // in BodyReader::nodes
    Index lastNode = 0;    // behind the last one
    Index firstOutput = 0; // in BodyReader::outputs
    Index outputCount = 0;
    unsigned char floor = kConstantFreq; // of the only output

    // Of the whole expansion, limited to more than kMaxNodes.
    std::uint64_t nodesAndCalls = 0;
    enum { kOpen, kEntered, kCounted } state = kOpen;
};

struct BodyNode {
    enum Kind : unsigned char { kLiteral, kPrimitive, kFunction } kind;
    bool lightSpecific;
    Index what; // the place in literals, callees or bodies
    Index firstArgument;
    Index argumentCount;
    Index firstValue;
    Index valueCount;
    const ShadingNode* origin;
};

struct BodyOutput {
    Index value; // kNone: not connected
    unsigned char floor;
};

/// Reads every function that takes part once.
///
/// 1. From the outputs of a function to the nodes that feed them, depth first, the arguments of a
///    call in the order of the header; every node comes behind its arguments.
/// 2. The same with each function that is called on the way.
/// 3. From the bottom up, how many nodes and calls each gives; a function that is met again before
///    it is counted calls itself.
class BodyReader {
public:
    struct CalleeFacts {
        std::vector<DataType> outputTypes;
        unsigned char floor = kConstantFreq;
    };

    BodyReader(const ShadingNodeSpec& function, FlatProgram& program) : fProgram(program) {
        bodyOf(function);
        for (Index body = 0; body < bodies.size(); ++body) { // grows on the way
            read(body);
        }
        count();
    }

    Index calleeOf(const ShadingNodeSpec& spec);

    std::vector<Body> bodies; // the whole function first
    std::vector<BodyNode> nodes;
    std::vector<Index> arguments;
    std::vector<BodyOutput> outputs;
    std::vector<CalleeFacts> callees; // beside those of the program

private:
    struct Source {
        const ShadingNode* node;
        int output; // of a call
    };
    struct Step {
        const ShadingNode* node;
        std::size_t firstSource;
        std::size_t nextSource;
        std::size_t lastSource;
    };
    struct Place {
        Index body = kNone; // the one that was read last with a node in this slot
        Index firstValue = kNone;
    };

    Index bodyOf(const ShadingNodeSpec& spec);
    void read(Index body);
    void enter(const ShadingNode& node);
    void leave(Body& body);
    Place& placeOf(const ShadingNode& node);
    Index valueOf(const Source& source);
    void count();

    FlatProgram& fProgram;
    std::unordered_map<const ShadingNodeSpec*, Index> fKnown; // the place in bodies or in callees
    std::vector<Place> fPlaces;                               // by the slots of the nodes
    std::vector<Step> fPath;
    std::vector<Source> fSources; // of the nodes on the path
    Index fReading = 0;
};

Index BodyReader::calleeOf(const ShadingNodeSpec& spec) {
    const auto [known, isNew] = fKnown.try_emplace(&spec, static_cast<Index>(fProgram.callees.size()));
    if (isNew) {
        fProgram.callees.push_back({&spec, findPrimitive(spec)});
        CalleeFacts& facts = callees.emplace_back();
        for (const ShadingAttribute* output : outputsOf(spec)) {
            facts.outputTypes.push_back(output->dataType());
            facts.floor = std::max(facts.floor, floorOf(output->compFreqRange()));
        }
    }
    return known->second;
}

Index BodyReader::bodyOf(const ShadingNodeSpec& spec) {
    const auto [known, isNew] = fKnown.try_emplace(&spec, static_cast<Index>(bodies.size()));
    if (isNew) {
        Body& body = bodies.emplace_back();
        body.spec = &spec;
        body.outputCount = static_cast<Index>(spec.numOutputs());
    }
    return known->second;
}

BodyReader::Place& BodyReader::placeOf(const ShadingNode& node) {
    const std::size_t slot = FlatGraph::slotOf(node);
    if (slot >= fPlaces.size()) {
        fPlaces.resize(slot + 1 + slot / 2);
    }
    return fPlaces[slot];
}

/// Puts a node on the path, with the sources of its arguments.
void BodyReader::enter(const ShadingNode& node) {
    placeOf(node) = {fReading, kNone};
    const std::size_t first = fSources.size();
    if (node.isCall()) {
        const InputFinder finder(node);
        ShadingNodeSpec::AttributeIterator input;
        ShadingNodeSpec::AttributeIterator last;
        for (node.specPtr()->inputs(input, last); input != last; ++input) {
            const ShadingLink* link = finder.find(input->name());
            if (!link) {
                throw Exception("Input is not connected: " + input->name() + " of " + node.name());
            }
            fSources.push_back({link->sourceNode(), link->sourceOutput()});
        }
    } else if (node.nodeType() != kConstantNode) {
        throw Exception("Node " + std::to_string(node.number()) + " of " + bodies[fReading].spec->name() +
                        " has no value to read: " + node.name());
    }
    fPath.push_back({&node, first, first, fSources.size()});
}

Index BodyReader::valueOf(const Source& source) {
    const Index first = placeOf(*source.node).firstValue;
    if (!source.node->isCall()) {
        return first;
    }
    if (source.output < 0 || source.output >= source.node->specPtr()->numOutputs()) {
        throw Exception("The value that is read from a call of " + source.node->name() +
                        " is none of its outputs");
    }
    return first + static_cast<Index>(source.output);
}

/// Takes the last node off the path: all that it reads has been read.
void BodyReader::leave(Body& body) {
    const Step step = fPath.back();
    const ShadingNode& node = *step.node;
    BodyNode result{};
    result.lightSpecific = node.isLightSpecific();
    result.origin = &node;
    result.firstArgument = static_cast<Index>(arguments.size());
    result.argumentCount = static_cast<Index>(step.lastSource - step.firstSource);
    result.firstValue = body.valueCount;
    for (std::size_t i = step.firstSource; i < step.lastSource; ++i) {
        arguments.push_back(valueOf(fSources[i]));
    }
    if (node.nodeType() == kConstantNode) {
        const ShadingValue value(node.constant());
        if (value.width() == 0) {
            throw Exception("A constant of " + body.spec->name() + " holds no value");
        }
        result.kind = BodyNode::kLiteral;
        result.what = static_cast<Index>(fProgram.literals.size());
        result.valueCount = 1;
        fProgram.literals.push_back(value);
    } else {
        const ShadingNodeSpec& callee = *node.specPtr();
        const bool isFunction = callee.nodeType() == kFunctionNode;
        result.kind = isFunction ? BodyNode::kFunction : BodyNode::kPrimitive;
        result.valueCount = static_cast<Index>(callee.numOutputs());
        result.what = isFunction ? bodyOf(callee) : calleeOf(callee);
    }
    placeOf(node).firstValue = body.valueCount;
    body.valueCount += result.valueCount;
    nodes.push_back(result);
    fSources.resize(step.firstSource);
    fPath.pop_back();
}

void BodyReader::read(Index reading) {
    fReading = reading;
    Body body = bodies[reading]; // a copy: reading adds to them
    body.firstNode = static_cast<Index>(nodes.size());
    body.firstOutput = static_cast<Index>(outputs.size());
    ShadingNodeSpec::AttributeIterator attribute;
    ShadingNodeSpec::AttributeIterator last;
    for (body.spec->inputs(attribute, last); attribute != last; ++attribute) {
        placeOf(*attribute->nodePtr()) = {reading, body.inputCount++};
    }
    body.valueCount = body.inputCount;

    for (body.spec->outputs(attribute, last); attribute != last; ++attribute) {
        BodyOutput output{kNone, floorOf(attribute->compFreqRange())};
        const auto& feeds = attribute->nodePtr()->incomingLinks();
        if (!feeds.empty()) {
            const ShadingNode& feed = *feeds.front()->sourceNode();
            if (placeOf(feed).body != reading) {
                enter(feed);
            }
            while (!fPath.empty()) {
                Step& step = fPath.back();
                if (step.nextSource == step.lastSource) {
                    leave(body);
                    continue;
                }
                const ShadingNode& source = *fSources[step.nextSource++].node;
                const Place place = placeOf(source);
                if (place.body != reading) {
                    enter(source);
                } else if (place.firstValue == kNone) {
                    throw Exception("The graph of " + body.spec->name() + " is not acyclic");
                }
            }
            output.value = valueOf({&feed, feeds.front()->sourceOutput()});
        }
        outputs.push_back(output);
    }
    body.lastNode = static_cast<Index>(nodes.size());
    body.floor = body.outputCount == 1 ? outputs.back().floor : static_cast<unsigned char>(kConstantFreq);
    bodies[reading] = body;
}

void BodyReader::count() {
    struct Walk {
        Index body;
        Index next;
    };
    std::vector<Walk> path{{0, bodies[0].firstNode}};
    bodies[0].state = Body::kEntered;
    while (!path.empty()) {
        Walk& walk = path.back();
        Body& body = bodies[walk.body];
        if (walk.next == body.lastNode) {
            body.state = Body::kCounted;
            path.pop_back();
            continue;
        }
        const BodyNode& node = nodes[walk.next];
        std::uint64_t added = 1;
        if (node.kind == BodyNode::kFunction) {
            Body& called = bodies[node.what];
            if (called.state == Body::kEntered) {
                throw Exception("Function calls itself: " + called.spec->name());
            }
            if (called.state == Body::kOpen) {
                called.state = Body::kEntered;
                path.push_back({node.what, called.firstNode});
                continue; // and comes back to this node
            }
            added += called.nodesAndCalls;
        }
        body.nodesAndCalls = std::min(body.nodesAndCalls + added, kMaxNodes + 1);
        ++walk.next;
    }
    if (bodies[0].nodesAndCalls + bodies[0].inputCount > kMaxNodes) {
        throw Exception("Expansion gives more than " + std::to_string(kMaxNodes) +
                        " nodes: " + bodies[0].spec->name());
    }
}

/// Writes the nodes of the whole program: those of a body one after the other, and at a call those
/// of the called body first.
///
/// A body that is being written is a frame; the frames of the calls that it came out of lie below
/// it. For each value of a frame we keep its depth: the lowest frame one of whose arguments it
/// depends on. It then depends on an argument of every frame from there up to its own, because each
/// passes it on through its arguments, so that the floor it gets is the highest that these calls ask
/// for.
class BodyWriter {
public:
    BodyWriter(const BodyReader& reader, FlatProgram& program) : fReader(reader), fProgram(program) {}
    void write();

private:
    static constexpr Index kIndependent = ~0U;

    struct Local {
        Index value = kNone; // of the program
        Index depth = kIndependent;
    };
    struct Frame {
        Index body = 0;
        Index nextNode = 0;
        Index locals = 0;    // where its values begin in fLocals
        Index firstNode = 0; // of the program: what is before it came in through the arguments
        Index results = 0;   // where the caller's values for the outputs begin in fLocals
        const ShadingNode* call = nullptr;
        // By level from uniform on: the uppermost frame of a call that asks for that level or a
        // higher one; 0, the whole function, where there is none.
        std::array<Index, 3> asking{};
    };

    void writeInputs(const Body& body);
    void call(const BodyNode& node);
    void finish();
    Local output(const Frame& frame, Index position) const;
    Local withFloor(const Frame& frame, Local output, unsigned char floor);
    void writeNode(const Frame& frame, const BodyNode& node);
    Index addNode(FlatProgram::Node node);
    void addValue(DataType type);
    unsigned char floorAt(const Frame& frame, Index depth) const;
    Index depthOfFrame() const { return static_cast<Index>(fFrames.size() - 1); }
    [[noreturn]] void throwUnconnected(const Frame& frame, Index local) const;

    const BodyReader& fReader;
    FlatProgram& fProgram;
    std::vector<Frame> fFrames;
    std::vector<Local> fLocals;
};

/// Says which call of the frame's body has an output without a value.
void BodyWriter::throwUnconnected(const Frame& frame, Index local) const {
    const Body& body = fReader.bodies[frame.body];
    for (Index i = body.firstNode; i < body.lastNode; ++i) {
        const BodyNode& node = fReader.nodes[i];
        if (local >= node.firstValue && local < node.firstValue + node.valueCount) {
            const ShadingNodeSpec& callee = *node.origin->specPtr();
            throw Exception("Output is not connected: " + outputsOf(callee)[local - node.firstValue]->name() +
                            " of " + callee.name());
        }
    }
    throw Exception("Output is not connected");
}

Index BodyWriter::addNode(FlatProgram::Node node) {
    const auto index = static_cast<Index>(fProgram.nodes.size());
    node.firstValue = static_cast<Index>(fProgram.valueTypes.size());
    fProgram.nodes.push_back(node);
    return index;
}

/// A value of the node that was added last.
void BodyWriter::addValue(DataType type) {
    fProgram.valueTypes.push_back(type);
    fProgram.valueNode.push_back(static_cast<Index>(fProgram.nodes.size() - 1));
    ++fProgram.nodes.back().valueCount;
}

unsigned char BodyWriter::floorAt(const Frame& frame, Index depth) const {
    const Index lowest = std::max<Index>(depth, 1); // the whole function asks for nothing
    for (unsigned char level = kFragmentFreq; level >= kUniformFreq; --level) {
        if (frame.asking[level - kUniformFreq] >= lowest) {
            return level;
        }
    }
    return kConstantFreq;
}

void BodyWriter::writeNode(const Frame& frame, const BodyNode& node) {
    const bool isLiteral = node.kind == BodyNode::kLiteral;
    FlatProgram::Node result;
    result.kind = isLiteral ? FlatProgram::kLiteral : FlatProgram::kCall;
    result.lightSpecific = node.lightSpecific;
    result.what = node.what;
    result.origin = node.origin;
    result.firstArgument = static_cast<Index>(fProgram.arguments.size());
    result.argumentCount = node.argumentCount;
    Index depth = kIndependent;
    for (Index i = 0; i < node.argumentCount; ++i) {
        const Index local = fReader.arguments[node.firstArgument + i];
        const Local& argument = fLocals[frame.locals + local];
        if (argument.value == kNone) {
            throwUnconnected(frame, local);
        }
        fProgram.arguments.push_back(argument.value);
        depth = std::min(depth, argument.depth);
    }
    result.floor = floorAt(frame, depth);
    if (!isLiteral) {
        result.floor = std::max(result.floor, fReader.callees[node.what].floor);
    }
    const Index index = addNode(result);
    if (isLiteral) {
        addValue(fProgram.literals[node.what].type);
    } else {
        for (const DataType type : fReader.callees[node.what].outputTypes) {
            addValue(type);
        }
    }
    const Index firstValue = fProgram.nodes[index].firstValue;
    for (Index i = 0; i < node.valueCount; ++i) {
        fLocals[frame.locals + node.firstValue + i] = {firstValue + i, depth};
    }
}

void BodyWriter::call(const BodyNode& node) {
    const Frame& caller = fFrames.back();
    const Body& body = fReader.bodies[node.what];
    const Index depth = depthOfFrame() + 1;
    Frame frame;
    frame.body = node.what;
    frame.nextNode = body.firstNode;
    frame.locals = static_cast<Index>(fLocals.size());
    frame.firstNode = static_cast<Index>(fProgram.nodes.size());
    frame.results = caller.locals + node.firstValue;
    frame.call = node.origin;
    frame.asking = caller.asking;
    for (unsigned int level = kUniformFreq; level <= body.floor; ++level) {
        frame.asking[level - kUniformFreq] = depth;
    }
    fLocals.resize(fLocals.size() + body.valueCount);
    for (Index i = 0; i < node.argumentCount; ++i) {
        const Index local = fReader.arguments[node.firstArgument + i];
        const Local& argument = fLocals[caller.locals + local];
        if (argument.value == kNone) {
            throwUnconnected(caller, local);
        }
        fLocals[frame.locals + i] = {argument.value, std::min(argument.depth, depth)};
    }
    fFrames.push_back(frame);
}

BodyWriter::Local BodyWriter::output(const Frame& frame, Index position) const {
    const Body& body = fReader.bodies[frame.body];
    const Index local = fReader.outputs[body.firstOutput + position].value;
    return local == kNone ? Local() : fLocals[frame.locals + local];
}

/// The output of a call with the floor that its header asks for: at the node that feeds it, at an
/// identity where an argument is passed through.
BodyWriter::Local BodyWriter::withFloor(const Frame& frame, Local output, unsigned char floor) {
    if (floor <= kConstantFreq || output.value == kNone || output.depth == kIndependent) {
        return output;
    }
    const Index fed = fProgram.valueNode[output.value];
    if (fed >= frame.firstNode) {
        unsigned char& own = fProgram.nodes[fed].floor;
        own = std::max(own, floor);
        return output;
    }
    FlatProgram::Node identity;
    identity.kind = FlatProgram::kIdentity;
    identity.floor = std::max(floor, floorAt(frame, output.depth));
    identity.lightSpecific = frame.call->isLightSpecific();
    identity.firstArgument = static_cast<Index>(fProgram.arguments.size());
    identity.argumentCount = 1;
    identity.origin = frame.call;
    fProgram.arguments.push_back(output.value);
    output.value = fProgram.nodes[addNode(identity)].firstValue;
    addValue(fProgram.valueTypes[fProgram.arguments.back()]);
    return output;
}

/// Hands the outputs of the uppermost frame to its caller.
void BodyWriter::finish() {
    const Frame frame = fFrames.back();
    const Body& body = fReader.bodies[frame.body];
    for (Index i = 0; i < body.outputCount; ++i) {
        Local result = withFloor(frame, output(frame, i), fReader.outputs[body.firstOutput + i].floor);
        if (result.depth >= depthOfFrame()) {
            result.depth = kIndependent; // of the caller's arguments
        }
        fLocals[frame.results + i] = result;
    }
    fLocals.resize(frame.locals);
    fFrames.pop_back();
}

void BodyWriter::writeInputs(const Body& body) {
    fFrames.emplace_back();
    fFrames.back().nextNode = body.firstNode;
    fLocals.resize(body.valueCount);
    ShadingNodeSpec::AttributeIterator input;
    ShadingNodeSpec::AttributeIterator last;
    Index position = 0;
    for (body.spec->inputs(input, last); input != last; ++input, ++position) {
        FlatProgram::Node node;
        node.kind = FlatProgram::kInput;
        node.origin = input->nodePtr();
        node.lightSpecific = node.origin->isLightSpecific();
        node.what = position;
        const Index index = addNode(node);
        addValue(input->dataType());
        fLocals[position] = {fProgram.nodes[index].firstValue, 0};
        fProgram.inputs.push_back(
            {input->name(), input->dataType(), input->compFreqRange(), node.lightSpecific, index});
    }
}

void BodyWriter::write() {
    const Body& whole = fReader.bodies[0];
    const auto size = static_cast<std::size_t>(whole.nodesAndCalls) + whole.inputCount;
    fProgram.nodes.reserve(size);
    fProgram.valueTypes.reserve(size);
    fProgram.valueNode.reserve(size);
    writeInputs(whole);
    for (;;) {
        Frame& frame = fFrames.back();
        if (frame.nextNode < fReader.bodies[frame.body].lastNode) {
            const BodyNode& node = fReader.nodes[frame.nextNode++];
            node.kind == BodyNode::kFunction ? call(node) : writeNode(frame, node);
        } else if (fFrames.size() > 1) {
            finish();
        } else {
            break;
        }
    }
    ShadingNodeSpec::AttributeIterator attribute;
    ShadingNodeSpec::AttributeIterator last;
    Index position = 0;
    for (whole.spec->outputs(attribute, last); attribute != last; ++attribute) {
        fProgram.outputs.push_back({attribute->name(), attribute->dataType(), attribute->compFreqRange(),
                                    output(fFrames.back(), position++).value});
    }
}

/// Of a declared function: its inputs, and its only call.
void flattenPrimitive(const ShadingNodeSpec& function, FlatProgram& program) {
    const auto add = [&](const ShadingAttribute& value, Index node) {
        program.valueTypes.push_back(value.dataType());
        program.valueNode.push_back(node);
    };
    FlatProgram::Node call;
    ShadingNodeSpec::AttributeIterator attribute;
    ShadingNodeSpec::AttributeIterator last;
    for (function.inputs(attribute, last); attribute != last; ++attribute) {
        const Index index = call.argumentCount++;
        FlatProgram::Node input;
        input.kind = FlatProgram::kInput;
        input.firstValue = index;
        input.valueCount = 1;
        input.what = index;
        program.nodes.push_back(input);
        program.arguments.push_back(index);
        add(*attribute, index);
        program.inputs.push_back(
            {attribute->name(), attribute->dataType(), attribute->compFreqRange(), false, index});
    }
    call.firstValue = call.argumentCount;
    for (function.outputs(attribute, last); attribute != last; ++attribute) {
        call.floor = std::max(call.floor, floorOf(attribute->compFreqRange()));
        add(*attribute, call.argumentCount);
        program.outputs.push_back({attribute->name(), attribute->dataType(), attribute->compFreqRange(),
                                   call.firstValue + call.valueCount++});
    }
    program.nodes.push_back(call);
    program.callees.push_back({&function, findPrimitive(function)});
}

/// Takes out the nodes that are not kept; `replacement` says for every value which one is read in
/// its place.
void compact(FlatProgram& program, const std::vector<bool>& keep, const std::vector<Index>& replacement) {
    std::vector<Index> newValue(program.valueTypes.size(), kNone);
    const auto renumbered = [&](Index value) { return newValue[replacement[value]]; };
    FlatProgram result;
    result.nodes.reserve(program.nodes.size());
    result.arguments.reserve(program.arguments.size());
    result.valueTypes.reserve(program.valueTypes.size());
    result.valueNode.reserve(program.valueTypes.size());
    for (FlatProgram::Input& input : program.inputs) {
        input.node = kNone;
    }
    for (Index i = 0; i < program.nodes.size(); ++i) {
        if (!keep[i]) {
            continue;
        }
        FlatProgram::Node node = program.nodes[i];
        const auto index = static_cast<Index>(result.nodes.size());
        const auto firstArgument = static_cast<Index>(result.arguments.size());
        for (Index a = 0; a < node.argumentCount; ++a) {
            result.arguments.push_back(renumbered(program.arguments[node.firstArgument + a]));
        }
        const auto firstValue = static_cast<Index>(result.valueTypes.size());
        for (Index v = 0; v < node.valueCount; ++v) {
            newValue[node.firstValue + v] = firstValue + v;
            result.valueTypes.push_back(program.valueTypes[node.firstValue + v]);
            result.valueNode.push_back(index);
        }
        node.firstArgument = firstArgument;
        node.firstValue = firstValue;
        if (node.kind == FlatProgram::kInput) {
            program.inputs[node.what].node = index;
        }
        result.nodes.push_back(node);
    }
    program.nodes = std::move(result.nodes);
    program.arguments = std::move(result.arguments);
    program.valueTypes = std::move(result.valueTypes);
    program.valueNode = std::move(result.valueNode);
    for (FlatProgram::Output& output : program.outputs) {
        output.value = output.value == kNone ? kNone : renumbered(output.value);
    }
}

std::vector<Index> everyValueItself(const FlatProgram& program) {
    std::vector<Index> values(program.valueTypes.size());
    for (Index i = 0; i < values.size(); ++i) {
        values[i] = i;
    }
    return values;
}

std::uint64_t bitsOf(double number) {
    return std::bit_cast<std::uint64_t>(number);
}

class Hash {
public:
    void add(std::uint64_t number) {
        fState = (fState ^ number) * 0x9E3779B97F4A7C15U;
        fState ^= fState >> 29U;
    }
    std::uint64_t value() const { return fState; }

private:
    std::uint64_t fState = 0x243F6A8885A308D3U;
};

/// Finds nodes that compute the same: an open table of node numbers.
class EqualNodes {
public:
    explicit EqualNodes(const FlatProgram& program, const std::vector<Index>& replacement)
        : fProgram(program), fReplacement(replacement) {
        std::size_t size = 16;
        while (size < 2 * program.nodes.size()) {
            size *= 2;
        }
        fTable.resize(size, kNone);
    }

    /// The first node that is equal to this one; itself when it is the first.
    Index firstEqual(Index node) {
        std::size_t place = hashOf(fProgram.nodes[node]) & (fTable.size() - 1);
        while (fTable[place] != kNone && !equal(fTable[place], node)) {
            place = (place + 1) & (fTable.size() - 1);
        }
        if (fTable[place] == kNone) {
            fTable[place] = node;
        }
        return fTable[place];
    }

private:
    Index argument(const FlatProgram::Node& node, Index i) const {
        return fReplacement[fProgram.arguments[node.firstArgument + i]];
    }

    std::uint64_t hashOf(const FlatProgram::Node& node) const {
        Hash hash;
        hash.add(node.kind | static_cast<unsigned int>(node.floor) << 8U);
        if (node.kind == FlatProgram::kLiteral) {
            const ShadingValue& value = fProgram.literals[node.what];
            hash.add(static_cast<std::uint64_t>(value.type));
            for (int i = 0; i < value.width(); ++i) {
                hash.add(bitsOf(value.c[static_cast<std::size_t>(i)]));
            }
        } else {
            hash.add(node.what);
        }
        for (Index i = 0; i < node.argumentCount; ++i) {
            hash.add(argument(node, i));
        }
        return hash.value();
    }

    bool equal(Index left, Index right) const {
        const FlatProgram::Node& a = fProgram.nodes[left];
        const FlatProgram::Node& b = fProgram.nodes[right];
        if (a.kind != b.kind || a.floor != b.floor || a.lightSpecific != b.lightSpecific ||
            a.argumentCount != b.argumentCount) {
            return false;
        }
        if (a.kind != FlatProgram::kLiteral) {
            if (a.what != b.what) {
                return false;
            }
        } else {
            const ShadingValue& x = fProgram.literals[a.what];
            const ShadingValue& y = fProgram.literals[b.what];
            // By the bits: 0 and -0 differ, a not-a-number equals itself.
            if (x.type != y.type || !std::equal(x.c.begin(), x.c.end(), y.c.begin(),
                                                [](double l, double r) { return bitsOf(l) == bitsOf(r); })) {
                return false;
            }
        }
        for (Index i = 0; i < a.argumentCount; ++i) {
            if (argument(a, i) != argument(b, i)) {
                return false;
            }
        }
        return true;
    }

    const FlatProgram& fProgram;
    const std::vector<Index>& fReplacement;
    std::vector<Index> fTable;
};

} // namespace

FlatProgram flatten(const ShadingNodeSpec& function) {
    FlatProgram program;
    if (function.nodeType() == kOperationNode) {
        flattenPrimitive(function, program);
        return program;
    }
    const BodyReader reader(function, program);
    BodyWriter(reader, program).write();
    return program;
}

void dropUnread(FlatProgram& program) {
    std::vector<bool> read(program.nodes.size());
    for (const FlatProgram::Output& output : program.outputs) {
        if (output.value != kNone) {
            read[program.valueNode[output.value]] = true;
        }
    }
    for (auto i = static_cast<Index>(program.nodes.size()); i-- > 0;) {
        const FlatProgram::Node& node = program.nodes[i];
        for (Index a = 0; read[i] && a < node.argumentCount; ++a) {
            read[program.valueNode[program.arguments[node.firstArgument + a]]] = true;
        }
    }
    compact(program, read, everyValueItself(program));
}

void mergeEqual(FlatProgram& program) {
    std::vector<bool> keep(program.nodes.size(), true);
    std::vector<Index> replacement = everyValueItself(program);
    EqualNodes equalNodes(program, replacement);
    for (Index i = 0; i < program.nodes.size(); ++i) {
        const Index first = equalNodes.firstEqual(i);
        if (first != i) {
            keep[i] = false;
            for (Index v = 0; v < program.nodes[i].valueCount; ++v) {
                replacement[program.nodes[i].firstValue + v] = program.nodes[first].firstValue + v;
            }
        }
    }
    compact(program, keep, replacement);
}

std::string signatureOf(const ShadingNodeSpec& function) {
    std::string text = function.name() + "(";
    ShadingNodeSpec::ArgumentIterator argument;
    ShadingNodeSpec::ArgumentIterator last;
    const char* separator = "";
    for (function.arguments(argument, last); argument != last; ++argument) {
        text += separator + dataTypeName(argument->second.dataType());
        separator = ",";
    }
    return text + ")";
}

std::string operationText(const FlatProgram& program, Index index) {
    const FlatProgram::Node& node = program.nodes[index];
    switch (node.kind) {
    case FlatProgram::kInput:
        return program.inputs[node.what].name;
    case FlatProgram::kLiteral:
        return program.literals[node.what].toString();
    case FlatProgram::kCall:
        return signatureOf(*program.callees[node.what].spec);
    default:
        return "identity";
    }
}

} // namespace qvShadingDag
