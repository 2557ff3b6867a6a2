#include "shadingdag/GraphEvaluator.h"

#include "shadingdag/ShadingLink.h"
#include "shadingdag/ShadingNode.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <stdexcept>
#include <unordered_map>

using namespace qvShadingDag;

namespace {

using Values = std::vector<Value>;

int sideOfMatrix(DataType type) {
    return type >= kMatrix2 && type <= kMatrix4 ? type - kMatrix2 + 2 : 0;
}

// Primitives that treat every component alike; a narrower argument gives its first component.
using Unary = double (*)(double);
using Binary = double (*)(double, double);
using Ternary = double (*)(double, double, double);

const std::map<std::string, Unary> kUnary = {
    {"operator-", [](double a) { return -a; }},
    {"abs", [](double a) { return std::fabs(a); }},
    {"sign", [](double a) { return double((a > 0) - (a < 0)); }},
    {"floor", [](double a) { return std::floor(a); }},
    {"frac", [](double a) { return a - std::floor(a); }},
    {"sin", [](double a) { return std::sin(a); }},
    {"cos", [](double a) { return std::cos(a); }},
    {"acos", [](double a) { return std::acos(a); }},
    {"exp", [](double a) { return std::exp(a); }},
    {"exp2", [](double a) { return std::exp2(a); }},
    {"log", [](double a) { return std::log(a); }},
    {"log2", [](double a) { return std::log2(a); }},
    {"sqrt", [](double a) { return std::sqrt(a); }},
    {"ddx", [](double a) { return 2 * a; }},
};

const std::map<std::string, Binary> kBinary = {
    {"operator+", [](double a, double b) { return a + b; }},
    {"operator-", [](double a, double b) { return a - b; }},
    {"operator*", [](double a, double b) { return a * b; }},
    {"operator/", [](double a, double b) { return a / b; }},
    {"operator<", [](double a, double b) { return double(a < b); }},
    {"operator>", [](double a, double b) { return double(a > b); }},
    {"operator<=", [](double a, double b) { return double(a <= b); }},
    {"operator>=", [](double a, double b) { return double(a >= b); }},
    {"atan2", [](double a, double b) { return std::atan2(a, b); }},
    {"fmod", [](double a, double b) { return std::fmod(a, b); }},
    {"max", [](double a, double b) { return std::max(a, b); }},
    {"min", [](double a, double b) { return std::min(a, b); }},
    {"pow", [](double a, double b) { return std::pow(a, b); }},
    {"step", [](double edge, double x) { return double(x >= edge); }},
};

const std::map<std::string, Ternary> kTernary = {
    {"clamp", [](double x, double low, double high) { return std::min(std::max(x, low), high); }},
    {"mix", [](double a, double b, double t) { return a + (b - a) * t; }},
    {"select", [](double condition, double a, double b) { return condition != 0 ? a : b; }},
    {"smoothstep",
     [](double low, double high, double x) {
         const double t = std::min(std::max((x - low) / (high - low), 0.0), 1.0);
         return t * t * (3 - 2 * t);
     }},
};

double dot(const Value& a, const Value& b) {
    double sum = 0;
    for (int i = 0; i < a.width(); ++i) {
        sum += a.c[i] * b.c[i];
    }
    return sum;
}

// An n-vector is taken as a 1 by n matrix on the left and as an n by 1 matrix on the right.
void multiplyMatrices(const Values& args, Value& result) {
    const int n = std::max(sideOfMatrix(args[0].type), sideOfMatrix(args[1].type));
    const int rows = args[0].width() / n;
    const int columns = args[1].width() / n;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            for (int k = 0; k < n; ++k) {
                result.c[r * columns + c] += args[0].c[r * n + k] * args[1].c[k * columns + c];
            }
        }
    }
}

const std::map<std::string, std::function<void(const Values&, Value&)>> kOthers = {
    {"operator==",
     [](const Values& args, Value& result) {
         result.c[0] = std::equal(args[0].c.begin(), args[0].c.begin() + args[0].width(), args[1].c.begin());
     }},
    {"operator@",
     [](const Values& args, Value& result) {
         for (int i = 0; i < result.width(); ++i) {
             result.c[i] = args[0].c[static_cast<int>(args[1].c[i])];
         }
     }},
    {"dot", [](const Values& args, Value& result) { result.c[0] = dot(args[0], args[1]); }},
    {"length", [](const Values& args, Value& result) { result.c[0] = std::sqrt(dot(args[0], args[0])); }},
    {"distance",
     [](const Values& args, Value& result) {
         for (int i = 0; i < args[0].width(); ++i) {
             result.c[0] = std::hypot(result.c[0], args[0].c[i] - args[1].c[i]);
         }
     }},
    {"normalize",
     [](const Values& args, Value& result) {
         for (int i = 0; i < result.width(); ++i) {
             result.c[i] = args[0].c[i] / std::sqrt(dot(args[0], args[0]));
         }
     }},
    {"cross",
     [](const Values& args, Value& result) {
         for (int i = 0; i < 3; ++i) {
             const int j = (i + 1) % 3;
             const int k = (i + 2) % 3;
             result.c[i] = args[0].c[j] * args[1].c[k] - args[0].c[k] * args[1].c[j];
         }
     }},
    {"reflect",
     [](const Values& args, Value& result) {
         for (int i = 0; i < result.width(); ++i) {
             result.c[i] = args[0].c[i] - 2 * dot(args[0], args[1]) * args[1].c[i];
         }
     }},
    {"ddy",
     [](const Values& args, Value& result) {
         for (int i = 0; i < result.width(); ++i) {
             result.c[i] = args[0].c[result.width() - 1 - i];
         }
     }},
};

bool isConstructor(const std::string& name) {
    return name.size() == 4 && (name.starts_with("vec") || name.starts_with("mat"));
}

// Vectors and matrices from parts; one scalar fills a vector or the diagonal of a matrix.
void construct(const Values& args, Value& result) {
    const int side = sideOfMatrix(result.type);
    if (args.size() == 1 && args[0].width() == 1) {
        for (int i = 0; i < result.width(); ++i) {
            result.c[i] = side == 0 || i % (side + 1) == 0 ? args[0].c[0] : 0;
        }
        return;
    }
    int filled = 0;
    for (const Value& part : args) {
        for (int i = 0; i < part.width() && filled < result.width(); ++i) {
            result.c[filled++] = part.c[i];
        }
    }
}

void lookUpTexture(const Values& args, Value& result) {
    const double u = args[1].c[0];
    const double v = args[1].c[1];
    result.c = {0.1 + 0.5 * u + 0.2 * v, 0.2 + 0.3 * v, 0.3 + 0.1 * u * v, 1 - 0.25 * u};
}

double component(const Value& value, int i) {
    return value.c[i < value.width() ? i : 0];
}

Value evaluatePrimitive(const std::string& name, DataType type, const Values& args) {
    Value result(type, {});
    const bool matrixProduct = name == "operator*" &&
                               (sideOfMatrix(args[0].type) != 0 || sideOfMatrix(args[1].type) != 0) &&
                               args[0].width() != 1 && args[1].width() != 1;
    const auto unary = kUnary.find(name);
    const auto binary = kBinary.find(name);
    const auto ternary = kTernary.find(name);
    if (matrixProduct) {
        multiplyMatrices(args, result);
    } else if (kOthers.contains(name)) {
        kOthers.at(name)(args, result);
    } else if (isConstructor(name)) {
        construct(args, result);
    } else if (name.find("tex") <= 2) {
        lookUpTexture(args, result);
    } else {
        for (int i = 0; i < result.width(); ++i) {
            if (args.size() == 1 && unary != kUnary.end()) {
                result.c[i] = unary->second(component(args[0], i));
            } else if (args.size() == 2 && binary != kBinary.end()) {
                result.c[i] = binary->second(component(args[0], i), component(args[1], i));
            } else if (args.size() == 3 && ternary != kTernary.end()) {
                result.c[i] =
                    ternary->second(component(args[0], i), component(args[1], i), component(args[2], i));
            } else {
                throw std::runtime_error("The evaluator does not know " + name);
            }
        }
    }
    return result;
}

Value constantValue(const TypedConstant& constant) {
    Value value(constant.dataType(), {});
    for (int i = 0; i < std::min(value.width(), 4); ++i) {
        const bool isInt = constant.dataType() >= kInt && constant.dataType() <= kInt4;
        value.c[i] = isInt ? constant.getInt(i) : constant.getFloat(i);
    }
    return value;
}

// One evaluation of a defined function's graph: the outputs of every node that is needed.
class Evaluation {
public:
    Evaluation(const ShadingNodeSpec& function, const Values& inputs) {
        ShadingNodeSpec::AttributeIterator first, last;
        function.inputs(first, last);
        for (auto input = inputs.begin(); first != last; ++first, ++input) {
            fDone[first->nodePtr()] = {*input};
        }
    }

    // The nodes that feed `end` are worked off a stack of our own, however deep the graph is.
    const Value& valueOfOutput(const ShadingNode* end) {
        std::vector<const ShadingNode*> open = {end};
        while (!open.empty()) {
            const ShadingNode* node = open.back();
            const std::size_t before = open.size();
            if (!fDone.contains(node)) {
                for (const ShadingLink* link : node->incomingLinks()) {
                    if (!fDone.contains(link->sourceNode())) {
                        open.push_back(link->sourceNode());
                    }
                }
            }
            if (open.size() == before) {
                open.pop_back();
                if (!fDone.contains(node)) {
                    fDone[node] = evaluateNode(*node);
                }
            }
        }
        return fDone.at(end).front();
    }

private:
    Values evaluateNode(const ShadingNode& node) {
        if (node.nodeType() == kConstantNode) {
            return {constantValue(node.constant())};
        }
        if (node.nodeType() == kOutputNode) {
            if (node.incomingLinks().empty()) {
                throw std::runtime_error("Nothing feeds the output " + node.name());
            }
            return {valueOfLink(*node.incomingLinks().front())};
        }
        Values args;
        ShadingNodeSpec::AttributeIterator first, last;
        for (node.specPtr()->inputs(first, last); first != last; ++first) {
            const auto& links = node.incomingLinks();
            const auto link = std::find_if(links.begin(), links.end(), [&](const ShadingLink* candidate) {
                return candidate->destAttrName() == first->name();
            });
            if (link == links.end()) {
                throw std::runtime_error("Nothing feeds the input " + first->name() + " of " + node.name());
            }
            args.push_back(valueOfLink(**link));
        }
        return evaluate(*node.specPtr(), args);
    }

    const Value& valueOfLink(const ShadingLink& link) {
        return fDone.at(link.sourceNode()).at(std::max(link.sourceOutput(), 0));
    }

    std::unordered_map<const ShadingNode*, Values> fDone;
};

} // namespace

Value::Value(DataType ofType, std::initializer_list<double> values) : type(ofType) {
    std::copy(values.begin(), values.end(), c.begin());
}

int Value::width() const {
    if (const int side = sideOfMatrix(type)) {
        return side * side;
    }
    for (const DataType first : {kFloat, kClampu, kInt}) {
        if (type >= first && type <= first + 3) {
            return type - first + 1;
        }
    }
    return type == kBool ? 1 : 0;
}

std::vector<Value> evaluate(const ShadingNodeSpec& function, const std::vector<Value>& inputs) {
    Values results;
    ShadingNodeSpec::AttributeIterator first, last;
    function.outputs(first, last);
    if (function.nodeType() == kOperationNode) {
        for (; first != last; ++first) {
            results.push_back(evaluatePrimitive(function.name(), first->dataType(), inputs));
        }
        return results;
    }
    Evaluation evaluation(function, inputs);
    for (; first != last; ++first) {
        results.push_back(evaluation.valueOfOutput(first->nodePtr()));
    }
    return results;
}
