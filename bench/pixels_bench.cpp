// Resizes, conversions and normal maps beside what plain loops take for the same pixels.

#include "pixels/qvColorFormatRGBAFixed8.h"
#include "pixels/qvColorFormatRGBAFloat.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace {

constexpr unsigned int kSide = 2048;
constexpr std::size_t kComponents = std::size_t{4} * kSide * kSide;

const std::vector<float>& floats() {
    static const std::vector<float> fsFloats = [] {
        std::vector<float> values(kComponents);
        std::mt19937 random(1);
        for (float& value : values) {
            value = static_cast<float>(random() >> 8) / 16777216.0F;
        }
        return values;
    }();
    return fsFloats;
}

const std::vector<unsigned char>& bytes() {
    static const std::vector<unsigned char> fsBytes = [] {
        std::vector<unsigned char> values;
        for (const float value : floats()) {
            values.push_back(static_cast<unsigned char>(value * 255.0F));
        }
        return values;
    }();
    return fsBytes;
}

template <typename T>
const std::vector<T>& source();
template <>
const std::vector<float>& source<float>() {
    return floats();
}
template <>
const std::vector<unsigned char>& source<unsigned char>() {
    return bytes();
}

void countPixels(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * kSide * kSide);
}

template <typename Format, typename T>
void resize(benchmark::State& state) {
    const Format format;
    const auto side = static_cast<unsigned int>(state.range(0));
    const T* pixels = source<T>().data();
    for (auto _ : state) {
        T* resized = format.resize(pixels, kSide, kSide, side, side);
        benchmark::DoNotOptimize(resized);
        format.deallocate(resized);
    }
    countPixels(state);
}
BENCHMARK(resize<qvColorFormatRGBAFloat, float>)->Arg(512)->Arg(700)->Unit(benchmark::kMillisecond);
BENCHMARK(resize<qvColorFormatRGBAFixed8, unsigned char>)->Arg(512)->Arg(700)->Unit(benchmark::kMillisecond);

// The yardstick of the resizes: an average of whole blocks, four wide and high, first along the
// rows, then along the columns, in single precision.
template <typename T>
void plainAreaAverage(benchmark::State& state) {
    constexpr unsigned int kTo = kSide / 4;
    const T* pixels = source<T>().data();
    std::vector<float> between(std::size_t{4} * kTo * kSide);
    for (auto _ : state) {
        const T* in = pixels;
        float* out = between.data();
        for (unsigned int i = 0; i < kSide * kTo; ++i, in += 16, out += 4) {
            for (int c = 0; c < 4; ++c) {
                out[c] = (static_cast<float>(in[c]) + static_cast<float>(in[c + 4]) +
                          static_cast<float>(in[c + 8]) + static_cast<float>(in[c + 12])) *
                         0.25F;
            }
        }
        auto* result = static_cast<T*>(std::malloc(std::size_t{4} * kTo * kTo * sizeof(T)));
        constexpr std::size_t kRow = std::size_t{4} * kTo;
        for (unsigned int y = 0; y < kTo; ++y) {
            const float* rows = between.data() + 4 * y * kRow;
            for (std::size_t i = 0; i < kRow; ++i) {
                const float sum = rows[i] + rows[kRow + i] + rows[2 * kRow + i] + rows[3 * kRow + i];
                result[y * kRow + i] = static_cast<T>(sum * 0.25F);
            }
        }
        benchmark::DoNotOptimize(result);
        benchmark::ClobberMemory();
        std::free(result);
    }
    countPixels(state);
}
BENCHMARK(plainAreaAverage<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(plainAreaAverage<unsigned char>)->Unit(benchmark::kMillisecond);

void convertFromFixed8(benchmark::State& state) {
    const qvColorFormatRGBAFloat format;
    for (auto _ : state) {
        float* converted = format.convertFromFixed8(bytes().data(), kSide, kSide, 1);
        benchmark::DoNotOptimize(converted);
        format.deallocate(converted);
    }
    countPixels(state);
}
BENCHMARK(convertFromFixed8)->Unit(benchmark::kMillisecond);

void plainMultiply(benchmark::State& state) {
    const unsigned char* in = bytes().data();
    for (auto _ : state) {
        auto* out = static_cast<float*>(std::malloc(kComponents * sizeof(float)));
        for (std::size_t i = 0; i < kComponents; ++i) {
            out[i] = static_cast<float>(in[i]) * (1.0F / 255.0F);
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        std::free(out);
    }
    countPixels(state);
}
BENCHMARK(plainMultiply)->Unit(benchmark::kMillisecond);

void convertFromFloat(benchmark::State& state) {
    const qvColorFormatRGBAFixed8 format;
    for (auto _ : state) {
        unsigned char* converted = format.convertFromFloat(floats().data(), kSide, kSide, 1);
        benchmark::DoNotOptimize(converted);
        format.deallocate(converted);
    }
    countPixels(state);
}
BENCHMARK(convertFromFloat)->Unit(benchmark::kMillisecond);

void plainTruncation(benchmark::State& state) {
    const float* in = floats().data();
    for (auto _ : state) {
        auto* out = static_cast<unsigned char*>(std::malloc(kComponents));
        for (std::size_t i = 0; i < kComponents; ++i) {
            out[i] = static_cast<unsigned char>(static_cast<int>(in[i] * 255.0F));
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        std::free(out);
    }
    countPixels(state);
}
BENCHMARK(plainTruncation)->Unit(benchmark::kMillisecond);

void memcpyOfFloats(benchmark::State& state) {
    for (auto _ : state) {
        void* out = std::malloc(kComponents * sizeof(float));
        std::memcpy(out, floats().data(), kComponents * sizeof(float));
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        std::free(out);
    }
    countPixels(state);
}
BENCHMARK(memcpyOfFloats)->Unit(benchmark::kMillisecond);

template <typename Format, typename T>
void normalMap(benchmark::State& state) {
    const Format format;
    std::vector<T> image = source<T>();
    for (auto _ : state) {
        format.convertToNormalMap(image.data(), kSide, kSide, 0.5F);
        benchmark::ClobberMemory();
    }
    countPixels(state);
}
BENCHMARK(normalMap<qvColorFormatRGBAFloat, float>)->Unit(benchmark::kMillisecond);
BENCHMARK(normalMap<qvColorFormatRGBAFixed8, unsigned char>)->Unit(benchmark::kMillisecond);

// The yardstick of the normal maps: the square root and the division alone, in single precision.
void plainNormalise(benchmark::State& state) {
    std::vector<float> image = floats();
    for (auto _ : state) {
        for (std::size_t i = 0; i < kComponents; i += 4) {
            const float n = 1.0F / std::sqrt(image[i] * image[i] + image[i + 1] * image[i + 1] + 1.0F);
            image[i] *= n;
            image[i + 1] *= n;
            image[i + 2] = n;
        }
        benchmark::ClobberMemory();
    }
    countPixels(state);
}
BENCHMARK(plainNormalise)->Unit(benchmark::kMillisecond);

} // namespace
