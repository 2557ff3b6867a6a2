// Reading generated sources: the parser, the tokenizer alone, and, as the yardstick, a bare pass over
// the bytes that counts lines.
#include "shadingdag/ShadingNodeSpec.h"
#include "shadingdag/ShadingParser.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <map>
#include <string>

using namespace qvShadingDag;

namespace {

/// A file of `functions` functions, a quarter of them declarations, each of a name of its own; it is
/// removed at the end of the program.
class Source {
public:
    explicit Source(int functions)
        : fPath(std::filesystem::temp_directory_path() / ("qv_bench_" + std::to_string(functions) + ".qvs")) {
        std::string text =
            "float4 operator+(float4 a, float4 b);\nfloat4 operator*(float4 a, float4 b);\n"
            "float4 operator*(float a, float4 b);\nfloat4 operator@(float4 a, int4 pattern);\n"
            "float dot(float4 a, float4 b);\nvoid split(float4 v, out float4 x, out float4 y);\n";
        for (int i = 0; i < functions; ++i) {
            const std::string name = "shade" + std::to_string(i);
            text += "// What " + name + " is for stands here.\n";
            if (i % 4 == 0) {
                text += "vertex:fragment float4 " + name + "Of(float4 color, uniform texobj map);\n\n";
            } else {
                text += "float4 " + name +
                        "(float4 color, float4 light, uniform:fragment float4 normal)\n{\n"
                        "    float d = dot(light, normal);\n    float4 x, y = {0.5, 1, -2, 1};\n"
                        "    split(color, x, y);\n    y += d * x@xyzw * 1.25e-1 * (y + light);\n"
                        "    return y@wzyx + color;\n}\n\n";
            }
        }
        fBytes = "float4 operator*(float4 a, float b);\n" + text;
        std::ofstream(fPath, std::ios::binary) << fBytes;
    }
    ~Source() { std::filesystem::remove(fPath); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    static const Source& of(benchmark::State& state) {
        static std::map<std::int64_t, Source> sources;
        return sources.try_emplace(state.range(0), static_cast<int>(state.range(0))).first->second;
    }

    std::string path() const { return fPath.string(); }
    const std::string& bytes() const { return fBytes; }

private:
    std::filesystem::path fPath;
    std::string fBytes;
};

void setRates(benchmark::State& state, const Source& source) {
    state.SetBytesProcessed(static_cast<std::int64_t>(source.bytes().size()) * state.iterations());
    state.SetItemsProcessed(state.range(0) * state.iterations());
    state.counters["time/function"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void parse(benchmark::State& state) {
    const Source& source = Source::of(state);
    std::size_t memory = 0;
    for (auto _ : state) {
        const std::size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        {
            ShadingParser parser;
            if (!parser.parseFile(source.path(), false)) {
                state.SkipWithError(parser.errorString().c_str());
                break;
            }
        }
        state.PauseTiming();
        memory = mallinfo2().uordblks + mallinfo2().hblkhd - before;
        ShadingNodeSpec::clearLibrary();
        state.ResumeTiming();
    }
    setRates(state, source);
    state.counters["memory/function"] = static_cast<double>(memory) / static_cast<double>(state.range(0));
}

void tokenize(benchmark::State& state) {
    const Source& source = Source::of(state);
    for (auto _ : state) {
        Tokenizer tokenizer;
        Token token;
        tokenizer.openFile(source.path());
        while (tokenizer.nextToken(&token)->type() != kEndOfInput) {
        }
        benchmark::DoNotOptimize(token);
    }
    setRates(state, source);
}

void barePass(benchmark::State& state) {
    const Source& source = Source::of(state);
    for (auto _ : state) {
        MemMappedFile file;
        file.open(source.path());
        unsigned int lines = 0;
        for (unsigned int i = 0; i < file.size(); ++i) {
            lines += file[i] == '\n' ? 1 : 0;
        }
        benchmark::DoNotOptimize(lines);
    }
    setRates(state, source);
}

BENCHMARK(parse)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(tokenize)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(barePass)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
