#include "imaging/Resample.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

// Adds row after row, weighed, into `sums`, four at a time to spare the passes over them.
template <typename T>
void blendRows(const T* source, std::size_t rowLength, const AxisFilter::Taps& taps,
               double* __restrict sums) {
    const T* __restrict row = source + taps.first * rowLength;
    const double* weight = taps.weights;
    std::fill(sums, sums + rowLength, 0.0);
    unsigned int left = taps.count;
    for (; left >= 4; left -= 4, weight += 4, row += 4 * rowLength) {
        const double w0 = weight[0], w1 = weight[1], w2 = weight[2], w3 = weight[3];
        const T* __restrict row1 = row + rowLength;
        const T* __restrict row2 = row + 2 * rowLength;
        const T* __restrict row3 = row + 3 * rowLength;
        for (std::size_t i = 0; i < rowLength; ++i) {
            sums[i] += (w0 * row[i] + w1 * row1[i]) + (w2 * row2[i] + w3 * row3[i]);
        }
    }
    for (; left > 0; --left, ++weight, row += rowLength) {
        const double w = *weight;
        for (std::size_t i = 0; i < rowLength; ++i) {
            sums[i] += w * row[i];
        }
    }
}

template <typename T, typename Store>
void resample(const T* source, const AxisFilter& columns, const AxisFilter& rows, T* destination,
              Store store) {
    const std::size_t rowLength = std::size_t{4} * columns.sourceSize();
    std::vector<double> rowSums(rowLength);
    for (unsigned int y = 0; y < rows.size(); ++y) {
        const AxisFilter::Taps rowTaps = rows[y];
        blendRows(source, rowLength, rowTaps, rowSums.data());
        for (unsigned int x = 0; x < columns.size(); ++x) {
            const AxisFilter::Taps taps = columns[x];
            const double* pixel = rowSums.data() + std::size_t{4} * taps.first;
            double sums[4] = {};
            for (unsigned int i = 0; i < taps.count; ++i, pixel += 4) {
                for (int c = 0; c < 4; ++c) {
                    sums[c] += taps.weights[i] * pixel[c];
                }
            }
            const double weightSum = rowTaps.weightSum * taps.weightSum;
            const double factor = weightSum != 0.0 ? 1.0 / weightSum : 0.0;
            for (int c = 0; c < 4; ++c) {
                *destination++ = store(sums[c] * factor);
            }
        }
    }
}

// Not-a-number becomes the lower end.
double clamped(double value, double highest) {
    return value > 0.0 ? std::min(value, highest) : 0.0;
}

// Keeps values just below an edge from falling short of it.
constexpr double kUnitBias = 1.0e-5;

} // namespace

// Appends the weights of the source pixels first..end-1, without the zeros at either end (inner
// pixels never weigh 0).
template <typename Weight>
void AxisFilter::addRun(unsigned int first, unsigned int end, Weight weight) {
    Run run = {first, 0, fWeights.size(), 0.0};
    for (unsigned int i = first; i < end; ++i) {
        const double w = weight(i);
        if (w > 0.0) {
            fWeights.push_back(w);
            run.weightSum += w;
            ++run.count;
        } else if (run.count == 0) {
            run.first = i + 1;
        }
    }
    fRuns.push_back(run);
}

AxisFilter AxisFilter::cornerBox(unsigned int sourceSize, unsigned int size) {
    AxisFilter filter(sourceSize, size);
    const double step = static_cast<double>(sourceSize) / size;
    for (unsigned int i = 0; i < size; ++i) {
        // On purpose: centred on the corner i * step, not on the middle of the covered pixels.
        const double start = (i - 0.5) * step;
        const double end = (i + 0.5) * step;
        const auto first = static_cast<unsigned int>(std::max(0.0, std::floor(start)));
        const auto last = static_cast<unsigned int>(std::min(std::floor(end), sourceSize - 1.0));
        filter.addRun(first, last + 1, [&](unsigned int pixel) {
            if (start >= pixel) {
                return std::min(pixel + 1.0, end) - start;
            }
            return end < pixel + 1.0 ? end - pixel : 1.0;
        });
    }
    return filter;
}

AxisFilter AxisFilter::tent(unsigned int sourceSize, unsigned int size) {
    AxisFilter filter(sourceSize, size);
    const double step = static_cast<double>(sourceSize) / size;
    const double reach = std::max(1.0, step);
    for (unsigned int i = 0; i < size; ++i) {
        const double centre = (i + 0.5) * step - 0.5; // in source pixels, whose centres are integers
        const auto first = static_cast<unsigned int>(std::max(0.0, std::floor(centre - reach)));
        const auto last = static_cast<unsigned int>(std::min(std::ceil(centre + reach), sourceSize - 1.0));
        filter.addRun(first, last + 1,
                      [&](unsigned int pixel) { return 1.0 - std::abs(pixel - centre) / reach; });
    }
    return filter;
}

void resampleUnit(const float* source, const AxisFilter& columns, const AxisFilter& rows,
                  float* destination) {
    resample(source, columns, rows, destination,
             [](double value) { return static_cast<float>(clamped(value + kUnitBias, 1.0)); });
}

void resampleUnit(const unsigned char* source, const AxisFilter& columns, const AxisFilter& rows,
                  unsigned char* destination) {
    resample(source, columns, rows, destination, [](double value) {
        return static_cast<unsigned char>(clamped(value + 255.0 * kUnitBias, 255.0) + 0.5);
    });
}

void resampleBytes(const unsigned char* source, const AxisFilter& columns, const AxisFilter& rows,
                   unsigned char* destination) {
    resample(source, columns, rows, destination,
             [](double value) { return static_cast<unsigned char>(clamped(value, 255.0) + 0.5); });
}
