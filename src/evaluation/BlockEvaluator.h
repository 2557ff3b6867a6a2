#pragma once

/// @file
/// Computes a flat program for many points; not for hosts, who have GraphEvaluator.

#include "evaluation/FlatProgram.h"
#include "evaluation/GraphEvaluator.h"
#include "evaluation/KernelCall.h"
#include "evaluation/Texture.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace qvShadingDag {

/// The values of a flat program for many points.
///
/// 1. Every component of a value is a column. What rearranges components only (swizzles, vectors
///    from parts) is columns of its arguments, and costs nothing.
/// 2. What depends on no column of the host's is computed once, as columns of one number.
/// 3. The rest is computed in blocks of points, one kernel call per node and block.
/// 4. A column's place is used again behind the last call that reads it.
///
/// The program is not owned, and not changed between two evaluations.
class BlockEvaluator {
public:
    using Index = FlatProgram::Index;

    /// What an input of the program is.
    struct Given {
        bool isGiven = false;
        ShadingValue value; ///< at all points, unless there are columns, one per component
        std::vector<std::span<const float>> floats;
        std::vector<std::span<const double>> columns;
        Texture texture;
    };

    /// The values of one value of the program: a column per component, all points of one column
    /// behind those of the one before.
    using Columns = std::vector<double>;

    explicit BlockEvaluator(const FlatProgram& program)
        : given(program.inputs.size()), hostKernels(program.callees.size()), fProgram(program) {}

    /// Computes the values of all outputs, and those of all nodes where `keepsAll`. Throws when an
    /// input of a node has no value or a primitive no kernel, and when a column is too short.
    void evaluate(std::size_t points);

    /// Of a value that was asked for; of width times the points.
    const Columns& columnsOf(Index value) const { return fKept[value]; }

    std::vector<Given> given;            ///< by input
    std::vector<HostKernel> hostKernels; ///< by callee; they come before the kernels of the table
    bool roundsToFloat = false;
    bool keepsAll = false;

private:
    enum StepKind : unsigned char {
        kFill,  ///< a number, once
        kLoad,  ///< a block of a column of the host's
        kRun,   ///< a kernel
        kCopy,  ///< of one number into a whole column, once
        kStore, ///< what is asked for
    };
    struct Step {
        StepKind kind = kRun;
        Index firstRead = 0; // in fReads
        Index readCount = 0;
        Index firstWrite = 0; // in fWrites
        Index writeCount = 0;
        Index what = 0;  // the input of kLoad, the value of kStore, the call of kRun
        double fill = 0; // of kFill
    };
    struct Column {
        bool isUniform = false; ///< one number
        bool isPermanent = false;
        DataType type = kInvalidDataType; ///< of the value, for the results of calls
        Index lastRead = 0;               ///< the step behind which its place is free
        Index place = 0;
    };
    struct Call {
        KernelCall call;
        Kernel kernel = nullptr;
        const HostKernel* host = nullptr;
        Index firstOperand = 0;
    };
    /// The columns of a value.
    struct Value {
        Index first = 0; // in fValueColumns
        Index count = 0;
    };

    void plan(std::size_t points);
    void planInput(const FlatProgram::Node& node, std::size_t points);
    void planLiteral(const ShadingValue& value);
    bool planView(const FlatProgram::Node& node);
    void planCall(const FlatProgram::Node& node);
    void planStores(const FlatProgram::Node& node, const std::vector<bool>& wanted);
    void planPlaces();
    void planPointers();
    Index newColumn(bool isUniform);
    Index spread(Index column);
    const Texture* textureOf(Index value) const;
    Value argument(const FlatProgram::Node& node, Index position) const {
        return fValues[fProgram.arguments[node.firstArgument + position]];
    }

    void runOnce();
    void runBlock(std::size_t start, std::size_t count, std::size_t points);
    void runCall(const Step& step, std::size_t points);
    void load(const Step& step, std::size_t start, std::size_t count, std::size_t padded);
    template <typename Number>
    void planColumns(const FlatProgram::Input& input, const std::vector<std::span<const Number>>& columns,
                     std::size_t points);
    template <typename Number>
    void loadColumn(DataType type, const Number* from, std::size_t count, double* to);

    const FlatProgram& fProgram;
    std::vector<Columns> fKept; // by value

    // The plan of one evaluation.
    std::vector<Step> fOnce;
    std::vector<Step> fPerBlock;
    std::vector<Column> fColumns;
    std::vector<Value> fValues; // by value of the program
    std::vector<Index> fValueColumns;
    std::vector<Index> fSpread;             // by column: its copy for every point
    std::vector<Index> fReads;              // columns
    std::vector<Index> fWrites;             // columns
    std::vector<const double*> fReadPlaces; // the same as addresses
    std::vector<double*> fWritePlaces;
    std::vector<Call> fCalls;
    std::vector<KernelOperand> fOperands;
    std::vector<double> fNumbers; // columns of one number
    std::vector<double> fBlocks;  // columns of a block
};

} // namespace qvShadingDag
