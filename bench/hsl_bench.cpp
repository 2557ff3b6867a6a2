// How fast program texts are written, beside a plain copy of the same bytes.

#include "hsl/HSLConvertor.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using qvString::CString;

namespace {

struct Scene {
    explicit Scene(int instructions) {
        uniforms.emplace_back(kMatrix4, "modelViewProj", nullptr);
        for (int i = 0; i < instructions; ++i) {
            CString name;
            name.format("value%d", i);
            program.addInstruction({HSLToken::kMix, name, kFloat4, nullptr});
        }
    }

    HSLConvertor convertor;
    HSLApp2VtxConnector input{nullptr};
    HSLVtx2FragConnector output{nullptr};
    std::vector<HSLProgramUniformItem> uniforms;
    HSLVertexProgram program{"bench", input, &uniforms, output};
};

void buildProgram(benchmark::State& state) {
    Scene scene(static_cast<int>(state.range(0)));
    std::size_t bytes = 0;
    for (auto _ : state) {
        scene.program.buildStringValue();
        const CString text = scene.program.stringValue();
        benchmark::DoNotOptimize(text.asChar());
        bytes += std::strlen(text.asChar());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(buildProgram)->Arg(100)->Arg(10000)->Arg(100000);

void copyProgram(benchmark::State& state) {
    Scene scene(static_cast<int>(state.range(0)));
    scene.program.buildStringValue();
    const std::string text = scene.program.stringValue().asChar();
    std::vector<char> copy(text.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), text.data(), text.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(copyProgram)->Arg(100)->Arg(10000)->Arg(100000);

// Every `addItem` compares with all items before it.
void addItems(benchmark::State& state) {
    std::vector<HSLVtx2FragConnectItem> items;
    for (int i = 0; i < state.range(0); ++i) {
        CString name;
        name.format("value%d", i);
        items.emplace_back(kFloat4, name, nullptr);
    }
    for (auto _ : state) {
        HSLVtx2FragConnector connector(nullptr);
        for (const HSLVtx2FragConnectItem& item : items) {
            connector.addItem(item);
        }
        benchmark::DoNotOptimize(connector.itemCount());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(addItems)->Arg(16)->Arg(10000);

void formatNumber(benchmark::State& state) {
    CString text;
    for (auto _ : state) {
        text.format("{ %g, %g, %g, %g }", 1.0, 0.5, 1.0 / 3, 1e-5);
        benchmark::DoNotOptimize(text.asChar());
    }
}
BENCHMARK(formatNumber);

void printNumber(benchmark::State& state) {
    char text[100];
    for (auto _ : state) {
        std::snprintf(text, sizeof text, "{ %g, %g, %g, %g }", 1.0, 0.5, 1.0 / 3, 1e-5);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(printNumber);

} // namespace
