// The affine sets in the table of primitives: numbers are drawn, interpolated before and after a call,
// and compared. What a set holds must commute; what no set holds must have a counterexample, or a
// reason why it counts as none.

#include "core/Exception.h"
#include "evaluation/KernelCall.h"
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

using namespace qvShadingDag;

namespace {

using Values = std::vector<ShadingValue>;

bool isIn(std::uint32_t set, std::size_t input) {
    return (set >> input & 1U) != 0;
}

/// Calls of one primitive with drawn numbers.
class Call {
public:
    explicit Call(const ShadingNodeSpec& spec) : fCallee{&spec, findPrimitive(spec)} {
        ShadingNodeSpec::AttributeIterator first;
        ShadingNodeSpec::AttributeIterator last;
        for (spec.inputs(first, last); first != last; ++first) {
            inputs.push_back(*first);
        }
        for (spec.outputs(first, last); first != last; ++first) {
            outputs.push_back(*first);
        }
    }

    const Primitive& primitive() const { return *fCallee.primitive; }

    ShadingValue draw(std::size_t input, std::mt19937& random, double low, double high) const {
        ShadingValue value(inputs[input].dataType(), {});
        std::uniform_real_distribution<double> number(
            value.type >= kClampu && value.type <= kClampu4 ? 0 : low,
            value.type >= kClampu && value.type <= kClampu4 ? 1 : high);
        for (int i = 0; i < value.width(); ++i) {
            const double drawn = number(random);
            const bool whole = value.type == kBool || (value.type >= kInt && value.type <= kInt4);
            value.c[static_cast<std::size_t>(i)] = whole ? std::floor(std::fabs(drawn) * 1.5) : drawn;
        }
        if (value.type == kBool) {
            value.c[0] = value.c[0] > 0 ? 1 : 0;
        }
        return value;
    }

    Values operator()(const Values& arguments) const {
        Values results;
        for (const ShadingAttribute& output : outputs) {
            results.emplace_back(output.dataType(), std::initializer_list<double>{});
        }
        EXPECT_TRUE(computeCall(fCallee, arguments.data(), results.data(), results.size()));
        return results;
    }

    std::vector<ShadingAttribute> inputs;
    std::vector<ShadingAttribute> outputs;

private:
    FlatProgram::Callee fCallee;
};

/// Three vertices' values with weights that add up to 1.
Values interpolated(const std::vector<Values>& corners, const double (&weights)[3]) {
    Values result = corners.front();
    for (std::size_t i = 0; i < result.size(); ++i) {
        for (std::size_t c = 0; c < result[i].c.size(); ++c) {
            result[i].c[c] = weights[0] * corners[0][i].c[c] + weights[1] * corners[1][i].c[c] +
                             weights[2] * corners[2][i].c[c];
        }
    }
    return result;
}

/// How far interpolating after the call is off from interpolating the inputs of a set before it, at
/// drawn numbers and relative to their size; -1 where a number is not finite.
double difference(const Call& call, std::uint32_t set, std::mt19937& random, double low, double high) {
    std::vector<Values> before(3);
    std::vector<Values> after;
    for (std::size_t input = 0; input < call.inputs.size(); ++input) {
        before[0].push_back(call.draw(input, random, low, high));
        for (const int corner : {1, 2}) {
            before[static_cast<std::size_t>(corner)].push_back(
                isIn(set, input) ? call.draw(input, random, low, high) : before[0][input]);
        }
    }
    for (const Values& corner : before) {
        after.push_back(call(corner));
    }
    std::uniform_real_distribution<double> weight(0.1, 0.45);
    const double first = weight(random);
    const double second = weight(random);
    const double weights[3] = {first, second, 1 - first - second};
    const Values expected = interpolated(after, weights);
    Values between = interpolated(before, weights);
    for (std::size_t input = 0; input < between.size(); ++input) {
        between[input] = isIn(set, input) ? between[input] : before[0][input]; // to the last digit
    }
    const Values found = call(between);
    double worst = 0;
    for (std::size_t i = 0; i < found.size(); ++i) {
        for (int c = 0; c < found[i].width(); ++c) {
            const double a = found[i].c[static_cast<std::size_t>(c)];
            const double b = expected[i].c[static_cast<std::size_t>(c)];
            if (!std::isfinite(a) || !std::isfinite(b)) {
                return -1;
            }
            worst = std::max(worst, std::fabs(a - b) / std::max({1.0, std::fabs(a), std::fabs(b)}));
        }
    }
    return worst;
}

double worstDifference(const Call& call, std::uint32_t set) {
    std::mt19937 random(7);
    double worst = -1;
    for (int trial = 0; trial < 60; ++trial) {
        worst = std::max(worst, trial % 2 == 0 ? difference(call, set, random, -0.95, 0.95)
                                               : difference(call, set, random, 0.1, 4));
    }
    EXPECT_GE(worst, 0) << "no finite trial";
    return worst;
}

bool travelsFlat(const ShadingAttribute& value) {
    return value.dataType() == kBool || (value.dataType() >= kInt && value.dataType() <= kInt4);
}

/// Why a set of inputs need not commute to be left out; empty where it must have a counterexample.
std::string reasonToLeaveOut(const Call& call, std::uint32_t set) {
    if (call.outputs.front().compFreqRange().lowest() == kFragmentFreq) {
        return "it exists per fragment only";
    }
    if (std::any_of(call.outputs.begin(), call.outputs.end(), travelsFlat)) {
        return "its result is not interpolated";
    }
    for (std::size_t input = 0; input < call.inputs.size(); ++input) {
        if (isIn(set, input) && call.inputs[input].compFreqRange().highest() < kVertexFreq) {
            return "that input is never per vertex";
        }
        if (isIn(set, input) &&
            (travelsFlat(call.inputs[input]) || call.inputs[input].dataType() == kTexObj)) {
            return "that input is not interpolated";
        }
    }
    const std::string name = call.primitive().name;
    const DataType result = call.outputs.front().dataType();
    if (result >= kClampu && result <= kClampu4 && (name == "operator*" || name == "mix")) {
        return "arithmetic on clampu counts as clamped";
    }
    return "";
}

TEST(AffineSets, commuteWithInterpolationAndNoneIsForgotten) {
    ShadingParser parser;
    ASSERT_TRUE(parser.parseFile(QV_STDLIB, false)) << parser.errorString();
    int sets = 0;
    int counterexamples = 0;
    ShadingNodeSpec::LibraryIterator entry;
    ShadingNodeSpec::LibraryIterator last;
    for (ShadingNodeSpec::allSpecsInLibrary(entry, last); entry != last; ++entry) {
        if (entry->second->nodeType() != kOperationNode) {
            continue;
        }
        SCOPED_TRACE(signatureOf(*entry->second));
        const Call call(*entry->second);
        const AffineSets affine = call.primitive().affine;
        const std::uint32_t all = (1U << call.inputs.size()) - 1;
        if (!reasonToLeaveOut(call, 0).empty()) {
            continue;
        }
        for (const std::uint32_t set : {affine.first & all, affine.second & all}) {
            if (set != 0) {
                // The smaller sets within it commute as well: all but one input stay where they are.
                EXPECT_LT(worstDifference(call, set), 1e-12) << "set " << set;
                ++sets;
            }
        }
        if ((affine.first & all) == all) {
            continue;
        }
        for (std::uint32_t set = 1; set <= all; ++set) {
            const bool isAffine = (set & ~affine.first) == 0 || (set & ~affine.second) == 0;
            if (!isAffine && reasonToLeaveOut(call, set).empty()) {
                EXPECT_GT(worstDifference(call, set), 1e-6) << "set " << set << " is forgotten";
                ++counterexamples;
            }
        }
    }
    ShadingNodeSpec::clearLibrary();
    EXPECT_GT(sets, 100);
    EXPECT_GT(counterexamples, 200);
}

} // namespace
