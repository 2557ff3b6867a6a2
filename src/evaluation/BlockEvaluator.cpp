#include "evaluation/BlockEvaluator.h"

#include "core/Exception.h"
#include "evaluation/Numbers.h"
#include "shadingdag/ShadingNodeSpec.h"

#include <algorithm>
#include <utility>

namespace qvShadingDag {

namespace {

using Index = FlatProgram::Index;
constexpr Index kNone = FlatProgram::kNone;

Exception inputError(const std::string& message) {
    return {kInputError, message};
}

bool holdsFloats(DataType type) {
    return isFloatType(type) || isClampuType(type) || isMatrixType(type);
}

/// Numbers each column of a phase with a place of its own as long as it is needed.
class Places {
public:
    Index take() {
        if (fFree.empty()) {
            return fCount++;
        }
        const Index place = fFree.back(); // used last, and maybe still in the cache
        fFree.pop_back();
        return place;
    }
    void giveBack(Index place) { fFree.push_back(place); }
    Index count() const { return fCount; }

private:
    std::vector<Index> fFree;
    Index fCount = 0;
};

} // namespace

// ---- The plan ----

Index BlockEvaluator::newColumn(bool isUniform) {
    Column column;
    column.isUniform = isUniform;
    fColumns.push_back(column);
    fSpread.push_back(kNone);
    return static_cast<Index>(fColumns.size() - 1);
}

/// The column for every point with the number of a uniform one; made once.
Index BlockEvaluator::spread(Index column) {
    if (!fColumns[column].isUniform) {
        return column;
    }
    if (fSpread[column] == kNone) {
        const Index copy = newColumn(false);
        fColumns[copy].isPermanent = true;
        fColumns[column].isPermanent = true;
        fSpread[column] = copy;
        Step step;
        step.kind = kCopy;
        step.firstRead = static_cast<Index>(fReads.size());
        step.readCount = 1;
        step.firstWrite = static_cast<Index>(fWrites.size());
        step.writeCount = 1;
        fReads.push_back(column);
        fWrites.push_back(copy);
        fOnce.push_back(step);
    }
    return fSpread[column];
}

void BlockEvaluator::planLiteral(const ShadingValue& value) {
    for (int c = 0; c < value.width(); ++c) {
        Step step;
        step.kind = kFill;
        step.fill = value.c[static_cast<std::size_t>(c)];
        step.firstWrite = static_cast<Index>(fWrites.size());
        step.writeCount = 1;
        fWrites.push_back(newColumn(true));
        fValueColumns.push_back(fWrites.back());
        fOnce.push_back(step);
    }
}

template <typename Number>
void BlockEvaluator::planColumns(const FlatProgram::Input& input,
                                 const std::vector<std::span<const Number>>& columns, std::size_t points) {
    for (const auto& column : columns) {
        if (column.size() < points) {
            throw inputError("A column of input '" + input.name + "' has " + std::to_string(column.size()) +
                             " numbers for " + std::to_string(points) + " points");
        }
        fWrites.push_back(newColumn(false));
        fValueColumns.push_back(fWrites.back());
    }
}

void BlockEvaluator::planInput(const FlatProgram::Node& node, std::size_t points) {
    const FlatProgram::Input& input = fProgram.inputs[node.what];
    const Given& from = given[node.what];
    if (!from.isGiven) {
        throw inputError("Input '" + input.name + "' has no value");
    }
    if (input.type == kTexObj) {
        return;
    }
    if (from.floats.empty() && from.columns.empty()) {
        planLiteral(from.value.delivered());
        return;
    }
    Step step;
    step.kind = kLoad;
    step.what = node.what;
    step.firstWrite = static_cast<Index>(fWrites.size());
    planColumns(input, from.floats, points);
    planColumns(input, from.columns, points);
    step.writeCount = static_cast<Index>(fWrites.size()) - step.firstWrite;
    fPerBlock.push_back(step);
}

/// Where a value is nothing but components of the arguments, takes their columns.
bool BlockEvaluator::planView(const FlatProgram::Node& node) {
    View view = View::kSame;
    if (node.kind == FlatProgram::kCall) {
        const Primitive* primitive = fProgram.callees[node.what].primitive;
        view = !primitive || hostKernels[node.what] ? View::kNone : viewOf(*primitive);
    }
    if (view == View::kNone) {
        return false;
    }
    const DataType argumentType = fProgram.valueTypes[fProgram.arguments[node.firstArgument]];
    const DataType resultType = fProgram.valueTypes[node.firstValue];
    if (roundsToFloat && isIntType(argumentType) && holdsFloats(resultType)) {
        return false; // an int may be no float
    }
    const Value source = argument(node, 0);
    const int width = componentCount(resultType);
    const auto take = [&](Index component) {
        fValueColumns.push_back(Index(fValueColumns[source.first + component]));
    };
    const bool isChosen = view == View::kSwizzle || view == View::kRow || view == View::kColumn;
    const ShadingValue* choice = nullptr;
    if (isChosen) {
        const Index chooser = fProgram.valueNode[fProgram.arguments[node.firstArgument + 1]];
        if (fProgram.nodes[chooser].kind != FlatProgram::kLiteral) {
            return false;
        }
        choice = &fProgram.literals[fProgram.nodes[chooser].what];
    }
    switch (view) {
    case View::kJoin:
        for (Index a = 0, taken = 0; a < node.argumentCount; ++a) {
            const Value part = argument(node, a);
            for (Index c = 0; c < part.count && taken < static_cast<Index>(width); ++c, ++taken) {
                fValueColumns.push_back(Index(fValueColumns[part.first + c]));
            }
        }
        break;
    case View::kRepeat:
        for (int c = 0; c < width; ++c) {
            take(0);
        }
        break;
    case View::kSwizzle:
        for (int c = 0; c < width; ++c) {
            take(static_cast<Index>(
                placeOf(choice->c[static_cast<std::size_t>(c)], static_cast<int>(source.count))));
        }
        break;
    case View::kRow:
    case View::kColumn:
        for (int c = 0; c < width; ++c) {
            const int line = placeOf(choice->c[0], width);
            take(static_cast<Index>(view == View::kRow ? line * width + c : c * width + line));
        }
        break;
    case View::kTranspose:
        for (int c = 0, side = sideOfMatrix(width); c < width; ++c) {
            take(static_cast<Index>(c % side * side + c / side));
        }
        break;
    default:
        for (Index c = 0; c < source.count; ++c) {
            take(c);
        }
    }
    return true;
}

/// The map that a value stands for: an input, however often it is passed on.
const Texture* BlockEvaluator::textureOf(Index value) const {
    const FlatProgram::Node* node = &fProgram.nodes[fProgram.valueNode[value]];
    while (node->kind == FlatProgram::kIdentity) {
        node = &fProgram.nodes[fProgram.valueNode[fProgram.arguments[node->firstArgument]]];
    }
    if (node->kind != FlatProgram::kInput || !given[node->what].texture) {
        throw inputError("A lookup reads a map that is no input");
    }
    return &given[node->what].texture;
}

void BlockEvaluator::planCall(const FlatProgram::Node& node) {
    const FlatProgram::Callee& callee = fProgram.callees[node.what];
    Call call;
    call.firstOperand = static_cast<Index>(fOperands.size());
    if (hostKernels[node.what]) {
        call.host = &hostKernels[node.what];
    } else if (callee.primitive) {
        call.kernel = callee.primitive->kernel;
    } else {
        throw inputError("There is no kernel for " + signatureOf(*callee.spec));
    }
    bool isUniform = true;
    for (Index a = 0; a < node.argumentCount; ++a) {
        const Value value = argument(node, a);
        for (Index c = 0; c < value.count; ++c) {
            isUniform = isUniform && fColumns[fValueColumns[value.first + c]].isUniform;
        }
    }

    // Copies come before the call, so that its reads lie together.
    std::vector<Index> reads;
    for (Index a = 0; a < node.argumentCount; ++a) {
        const Value value = argument(node, a);
        const auto column = [&](Index c) { return fValueColumns[value.first + c]; };
        bool allUniform = true;
        for (Index c = 0; c < value.count; ++c) {
            allUniform = allUniform && fColumns[column(c)].isUniform;
        }
        const bool spreads = !isUniform && (!allUniform || call.host);
        for (Index c = 0; c < value.count; ++c) {
            reads.push_back(spreads ? spread(column(c)) : column(c));
            if (!isUniform) { // read by every block
                fColumns[reads.back()].isPermanent |= fColumns[reads.back()].isUniform;
            }
        }
        KernelOperand operand;
        operand.width = static_cast<int>(value.count);
        operand.stride = allUniform && !spreads ? 0 : 1;
        fOperands.push_back(operand);
    }
    if (callee.primitive && callee.primitive->texture != kNoTexture && !call.host) {
        call.call.texture = textureOf(fProgram.arguments[node.firstArgument]);
    }

    Step step;
    step.kind = kRun;
    step.what = static_cast<Index>(fCalls.size());
    step.firstRead = static_cast<Index>(fReads.size());
    step.readCount = static_cast<Index>(reads.size());
    fReads.insert(fReads.end(), reads.begin(), reads.end());
    step.firstWrite = static_cast<Index>(fWrites.size());
    for (Index v = 0; v < node.valueCount; ++v) {
        const DataType type = fProgram.valueTypes[node.firstValue + v];
        const Index first = static_cast<Index>(fValueColumns.size());
        for (int c = 0; c < componentCount(type); ++c) {
            fWrites.push_back(newColumn(isUniform));
            fColumns.back().type = type;
            fValueColumns.push_back(fWrites.back());
        }
        fValues[node.firstValue + v] = {first, static_cast<Index>(fValueColumns.size() - first)};
    }
    step.writeCount = static_cast<Index>(fWrites.size()) - step.firstWrite;
    call.call.argumentCount = static_cast<int>(node.argumentCount);
    const DataType resultType = node.valueCount == 0 ? kVoid : fProgram.valueTypes[node.firstValue];
    call.call.resultWidth = componentCount(resultType);
    call.call.clampsResult = isClampuType(resultType);
    fCalls.push_back(call);
    (isUniform ? fOnce : fPerBlock).push_back(step);
}

void BlockEvaluator::planStores(const FlatProgram::Node& node, const std::vector<bool>& wanted) {
    for (Index v = node.firstValue; v < node.firstValue + node.valueCount; ++v) {
        if (!wanted[v]) {
            continue;
        }
        Step step;
        step.kind = kStore;
        step.what = v;
        step.firstRead = static_cast<Index>(fReads.size());
        step.readCount = fValues[v].count;
        for (Index c = 0; c < fValues[v].count; ++c) {
            const Index column = fValueColumns[fValues[v].first + c];
            fReads.push_back(column);
            fColumns[column].isPermanent |= fColumns[column].isUniform;
        }
        fPerBlock.push_back(step);
    }
}

/// Gives every column a place; that of one that is read no more goes to another.
void BlockEvaluator::planPlaces() {
    const auto forColumns = [this](const Step& step, const auto& use) {
        for (Index i = 0; i < step.readCount; ++i) {
            use(fColumns[fReads[step.firstRead + i]]);
        }
        for (Index i = 0; i < step.writeCount; ++i) {
            use(fColumns[fWrites[step.firstWrite + i]]);
        }
    };
    Places numbers;
    Places blocks;
    for (Column& column : fColumns) {
        if (column.isPermanent) {
            column.place = (column.isUniform ? numbers : blocks).take();
        }
    }
    for (std::vector<Step>* phase : {&fOnce, &fPerBlock}) {
        Places& places = phase == &fOnce ? numbers : blocks;
        for (Index s = 0; s < phase->size(); ++s) {
            forColumns((*phase)[s], [s](Column& column) { column.lastRead = s; });
        }
        for (Index s = 0; s < phase->size(); ++s) {
            const Step& step = (*phase)[s];
            for (Index i = 0; i < step.writeCount; ++i) {
                Column& column = fColumns[fWrites[step.firstWrite + i]];
                if (!column.isPermanent) {
                    column.place = places.take();
                }
            }
            // Not before the writes have places: no result shares one with an argument.
            forColumns(step, [&](Column& column) {
                if (!column.isPermanent && column.lastRead == s) {
                    places.giveBack(column.place);
                    column.lastRead = kNone; // once, however often the step names it
                }
            });
        }
    }
    const std::size_t blockColumns = blocks.count();
    verifyAlways(blockColumns <= static_cast<std::size_t>(-1) / (kMaxPoints * sizeof(double)),
                 "There is no room for so many values at a time");
    fNumbers.assign(numbers.count(), 0);
    fBlocks.assign(blockColumns * kMaxPoints, 0);
}

void BlockEvaluator::planPointers() {
    const auto addressOf = [this](Index index) {
        const Column& column = fColumns[index];
        return column.isUniform ? &fNumbers[column.place] : &fBlocks[column.place * kMaxPoints];
    };
    fReadPlaces.resize(fReads.size());
    std::transform(fReads.begin(), fReads.end(), fReadPlaces.begin(), addressOf);
    fWritePlaces.resize(fWrites.size());
    std::transform(fWrites.begin(), fWrites.end(), fWritePlaces.begin(), addressOf);
    for (const std::vector<Step>* phase : {&fOnce, &fPerBlock}) {
        for (const Step& step : *phase) {
            if (step.kind == kRun) {
                Call& call = fCalls[step.what];
                const double* const* columns = fReadPlaces.data() + step.firstRead;
                for (int a = 0; a < call.call.argumentCount; ++a) {
                    KernelOperand& operand = fOperands[call.firstOperand + static_cast<Index>(a)];
                    operand.columns = columns;
                    columns += operand.width;
                }
                call.call.arguments = fOperands.data() + call.firstOperand;
                call.call.results = fWritePlaces.data() + step.firstWrite;
            }
        }
    }
}

void BlockEvaluator::plan(std::size_t points) {
    fOnce.clear();
    fPerBlock.clear();
    fColumns.clear();
    fSpread.clear();
    fReads.clear();
    fWrites.clear();
    fCalls.clear();
    fOperands.clear();
    fValueColumns.clear();
    fValues.assign(fProgram.valueTypes.size(), Value());

    std::vector<bool> wanted(fProgram.valueTypes.size(), keepsAll);
    for (const FlatProgram::Output& output : fProgram.outputs) {
        if (output.value != kNone) {
            wanted[output.value] = true;
        }
    }
    for (const FlatProgram::Node& node : fProgram.nodes) {
        const auto first = static_cast<Index>(fValueColumns.size());
        const bool isCall = node.kind == FlatProgram::kCall || node.kind == FlatProgram::kIdentity;
        if (isCall && !planView(node)) {
            planCall(node);
        } else {
            if (node.kind == FlatProgram::kInput) {
                planInput(node, points);
            } else if (node.kind == FlatProgram::kLiteral) {
                planLiteral(fProgram.literals[node.what]);
            }
            fValues[node.firstValue] = {first, static_cast<Index>(fValueColumns.size() - first)};
        }
        planStores(node, wanted);
    }
    planPlaces();
    planPointers();
}

// ---- The evaluation ----

void BlockEvaluator::runCall(const Step& step, std::size_t points) {
    const Call& call = fCalls[step.what];
    double* const* results = fWritePlaces.data() + step.firstWrite;
    if (call.host) {
        (*call.host)({fReadPlaces.data() + step.firstRead, step.readCount}, {results, step.writeCount},
                     points);
    } else {
        call.kernel(call.call, points);
    }
    if (!call.host && !roundsToFloat) {
        return;
    }
    const Index firstWrite = step.firstWrite;
    for (Index c = 0; c < step.writeCount; ++c) {
        const DataType type = fColumns[fWrites[firstWrite + c]].type;
        if (call.host && isClampuType(type)) {
            std::transform(results[c], results[c] + points, results[c], clampedToUnit);
        }
        if (roundsToFloat && holdsFloats(type)) {
            std::transform(results[c], results[c] + points, results[c], roundedToFloat);
        }
    }
}

void BlockEvaluator::runOnce() {
    for (const Step& step : fOnce) {
        if (step.kind == kFill) {
            *fWritePlaces[step.firstWrite] = step.fill;
        } else if (step.kind == kCopy) {
            std::fill_n(fWritePlaces[step.firstWrite], kMaxPoints, *fReadPlaces[step.firstRead]);
        } else {
            runCall(step, 1);
        }
    }
}

template <typename Number>
void BlockEvaluator::loadColumn(DataType type, const Number* from, std::size_t count, double* to) {
    if (isFloatType(type) || isMatrixType(type)) {
        std::transform(from, from + count, to,
                       [](Number x) { return static_cast<double>(static_cast<float>(x)); });
    } else {
        std::transform(from, from + count, to, [type](Number x) {
            return ShadingValue(type, {static_cast<double>(x)}).delivered().c[0];
        });
    }
}

void BlockEvaluator::load(const Step& step, std::size_t start, std::size_t count, std::size_t padded) {
    const DataType type = fProgram.inputs[step.what].type;
    const Given& from = given[step.what];
    for (Index c = 0; c < step.writeCount; ++c) {
        double* to = fWritePlaces[step.firstWrite + c];
        if (from.floats.empty()) {
            loadColumn(type, from.columns[c].data() + start, count, to);
        } else {
            loadColumn(type, from.floats[c].data() + start, count, to);
        }
        std::fill(to + count, to + padded, to[count - 1]);
    }
}

void BlockEvaluator::runBlock(std::size_t start, std::size_t count, std::size_t points) {
    const std::size_t padded = (count + 3) / 4 * 4;
    for (const Step& step : fPerBlock) {
        if (step.kind == kRun) {
            runCall(step, padded);
        } else if (step.kind == kLoad) {
            load(step, start, count, padded);
        } else {
            for (Index c = 0; c < step.readCount; ++c) {
                const double* from = fReadPlaces[step.firstRead + c];
                double* to = fKept[step.what].data() + c * points + start;
                if (fColumns[fReads[step.firstRead + c]].isUniform) {
                    std::fill_n(to, count, *from);
                } else {
                    std::copy_n(from, count, to);
                }
            }
        }
    }
}

void BlockEvaluator::evaluate(std::size_t points) {
    plan(points);
    fKept.clear();
    fKept.resize(fProgram.valueTypes.size());
    for (const Step& step : fPerBlock) {
        if (step.kind == kStore) {
            constexpr std::size_t kMost = static_cast<std::size_t>(-1) / sizeof(double);
            if (points > kMost / std::max<std::size_t>(step.readCount, 1)) {
                throw inputError("There is no room for " + std::to_string(points) + " points");
            }
            fKept[step.what].resize(step.readCount * points);
        }
    }
    if (points == 0) {
        return;
    }
    runOnce();
    for (std::size_t start = 0; start < points; start += kMaxPoints) {
        runBlock(start, std::min(kMaxPoints, points - start), points);
    }
}

} // namespace qvShadingDag
