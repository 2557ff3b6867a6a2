#include "imaging/Resample.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

// The weighed sum of `Count` rows, added to what `sums` holds unless they are the first.
template <unsigned int Count, typename T>
void blendSome(const T* source, std::size_t rowLength, const double* weights, bool first,
               double* __restrict sums) {
    double w[Count];
    std::copy_n(weights, Count, w);
    const auto sumAt = [&](std::size_t i) {
        double sum = w[0] * source[i];
        for (unsigned int k = 1; k < Count; ++k) {
            sum += w[k] * source[k * rowLength + i];
        }
        return sum;
    };
    if (first) {
        for (std::size_t i = 0; i < rowLength; ++i) {
            sums[i] = sumAt(i);
        }
    } else {
        for (std::size_t i = 0; i < rowLength; ++i) {
            sums[i] += sumAt(i);
        }
    }
}

// The weighed sum of a run of rows, four at a time to spare passes over `sums`.
template <typename T>
void blendRows(const T* source, std::size_t rowLength, const AxisFilter::Taps& taps, double* sums) {
    if (taps.count == 0) {
        std::fill_n(sums, rowLength, 0.0);
    }
    const T* row = source + taps.first * rowLength;
    for (unsigned int done = 0; done < taps.count; done += 4, row += 4 * rowLength) {
        const double* weights = taps.weights + done;
        const bool first = done == 0;
        switch (taps.count - done) {
        case 1:
            blendSome<1>(row, rowLength, weights, first, sums);
            break;
        case 2:
            blendSome<2>(row, rowLength, weights, first, sums);
            break;
        case 3:
            blendSome<3>(row, rowLength, weights, first, sums);
            break;
        default:
            blendSome<4>(row, rowLength, weights, first, sums);
            break;
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
    resample(source, columns, rows, destination, [](double value) {
        return static_cast<float>(std::min(std::max(0.0, value + kUnitBias), 1.0));
    });
}

void resampleUnit(const unsigned char* source, const AxisFilter& columns, const AxisFilter& rows,
                  unsigned char* destination) {
    resample(source, columns, rows, destination,
             [](double value) { return nearestByte(value + 255.0 * kUnitBias); });
}

void resampleBytes(const unsigned char* source, const AxisFilter& columns, const AxisFilter& rows,
                   unsigned char* destination) {
    resample(source, columns, rows, destination, [](double value) { return nearestByte(value); });
}
