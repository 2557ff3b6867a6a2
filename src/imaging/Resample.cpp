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

// The weighed sums of a row's pixels: `columns.size()` pixels of four sums.
template <typename T>
void blendColumns(const T* row, const AxisFilter& columns, double* sums) {
    for (unsigned int x = 0; x < columns.size(); ++x, sums += 4) {
        const AxisFilter::Taps taps = columns[x];
        const T* pixel = row + std::size_t{4} * taps.first;
        double pixelSums[4] = {};
        for (unsigned int i = 0; i < taps.count; ++i, pixel += 4) {
            for (int c = 0; c < 4; ++c) {
                pixelSums[c] += taps.weights[i] * pixel[c];
            }
        }
        std::copy_n(pixelSums, 4, sums);
    }
}

// Divides the sums of a row by the sums of their weights and stores them.
template <typename T, typename Store>
T* storeRow(const double* sums, const AxisFilter& columns, double rowWeight, T* destination, Store store) {
    for (unsigned int x = 0; x < columns.size(); ++x) {
        const double weightSum = rowWeight * columns[x].weightSum;
        const double factor = weightSum != 0.0 ? 1.0 / weightSum : 0.0;
        for (int c = 0; c < 4; ++c) {
            *destination++ = store(*sums++ * factor);
        }
    }
    return destination;
}

// Whole rows of the source are added up first, then their pixels.
template <typename T, typename Store>
void resampleRowsFirst(const T* source, const AxisFilter& columns, const AxisFilter& rows, T* destination,
                       Store store) {
    const std::size_t rowLength = std::size_t{4} * columns.sourceSize();
    std::vector<double> rowSums(rowLength);
    std::vector<double> sums(std::size_t{4} * columns.size());
    for (unsigned int y = 0; y < rows.size(); ++y) {
        blendRows(source, rowLength, rows[y], rowSums.data());
        blendColumns(rowSums.data(), columns, sums.data());
        destination = storeRow(sums.data(), columns, rows[y].weightSum, destination, store);
    }
}

// How many rows that were added up are kept for the next row of the result.
constexpr unsigned int kKeptRows = 4;

// The pixels of each row of the source are added up first, then these short rows.
template <typename T, typename Store>
void resampleColumnsFirst(const T* source, const AxisFilter& columns, const AxisFilter& rows, T* destination,
                          Store store) {
    const std::size_t length = std::size_t{4} * columns.size();
    constexpr unsigned int kNone = ~0U;
    unsigned int held[kKeptRows] = {kNone, kNone, kNone, kNone};
    std::vector<double> kept(kKeptRows * length);
    std::vector<double> sums(length);
    for (unsigned int y = 0; y < rows.size(); ++y) {
        const AxisFilter::Taps taps = rows[y];
        std::fill(sums.begin(), sums.end(), 0.0);
        for (unsigned int i = 0; i < taps.count; ++i) {
            const unsigned int row = taps.first + i;
            const unsigned int place = row % kKeptRows;
            double* const rowSums = kept.data() + place * length;
            if (held[place] != row) {
                blendColumns(source + std::size_t{4} * columns.sourceSize() * row, columns, rowSums);
                held[place] = row;
            }
            for (std::size_t k = 0; k < length; ++k) {
                sums[k] += taps.weights[i] * rowSums[k];
            }
        }
        destination = storeRow(sums.data(), columns, taps.weightSum, destination, store);
    }
}

// The rows that `resampleColumnsFirst` adds up, those included that it adds up again.
double rowsToBlend(const AxisFilter& rows) {
    double count = 0.0;
    double end = 0.0; // of the run before
    for (unsigned int y = 0; y < rows.size(); ++y) {
        const AxisFilter::Taps taps = rows[y];
        const double first = taps.first;
        const double known = std::max(0.0, std::min(end - first, std::min<double>(kKeptRows, taps.count)));
        count += taps.count - known;
        end = first + taps.count;
    }
    return count;
}

// The order of the two passes that takes fewer multiplications.
template <typename T, typename Store>
void resample(const T* source, const AxisFilter& columns, const AxisFilter& rows, T* destination,
              Store store) {
    const auto rowTaps = static_cast<double>(rows.weightCount());
    const auto columnTaps = static_cast<double>(columns.weightCount());
    const double rowsFirst = rowTaps * columns.sourceSize() + columnTaps * rows.size();
    const double columnsFirst = columnTaps * rowsToBlend(rows) + rowTaps * columns.size();
    if (columnsFirst < rowsFirst) {
        resampleColumnsFirst(source, columns, rows, destination, store);
    } else {
        resampleRowsFirst(source, columns, rows, destination, store);
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
        // On purpose: the box is centred on the corner i * step, not on the middle of the pixels
        // that it stands for, so that the image moves by half a pixel of the new size.
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
