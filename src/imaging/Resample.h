#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

/// The byte nearest to a number, 0 or 255 beyond them; 0 for not-a-number.
inline unsigned char nearestByte(double value) {
    const double shifted = std::min(std::max(0.0, value), 255.0) + 0.5;
    return static_cast<unsigned char>(shifted);
}

/// What every pixel along one axis of a resized image is made of: a run of source pixels and
/// their weights. Built once per axis; O(source + destination) time and storage.
class AxisFilter {
public:
    /// The source pixels `first` to `first + count - 1`, with weights other than 0.
    struct Taps {
        unsigned int first = 0;
        unsigned int count = 0;
        const double* weights = nullptr;
        double weightSum = 0.0;
    };

    /// The box that `resize` of the colour formats is defined by: destination pixel i covers
    /// [(i - 0.5) * s, (i + 0.5) * s] of the source, s = `sourceSize` / `size`, and every source
    /// pixel weighs its covered part.
    static AxisFilter cornerBox(unsigned int sourceSize, unsigned int size);

    /// A tent over the centre of the destination pixel: linear interpolation when enlarging, an
    /// average of two pixels' reach when reducing.
    static AxisFilter tent(unsigned int sourceSize, unsigned int size);

    unsigned int size() const { return static_cast<unsigned int>(fRuns.size()); }
    unsigned int sourceSize() const { return fSourceSize; }
    /// Of all destination pixels together.
    std::size_t weightCount() const { return fWeights.size(); }
    Taps operator[](unsigned int i) const {
        const Run& run = fRuns[i];
        return {run.first, run.count, fWeights.data() + run.offset, run.weightSum};
    }

private:
    struct Run {
        unsigned int first;
        unsigned int count;
        std::size_t offset;
        double weightSum;
    };

    AxisFilter(unsigned int sourceSize, unsigned int size) : fSourceSize(sourceSize) { fRuns.reserve(size); }

    template <typename Weight>
    void addRun(unsigned int first, unsigned int end, Weight weight);

    unsigned int fSourceSize;
    std::vector<Run> fRuns;
    std::vector<double> fWeights;
};

/// Resizes an RGBA image of floats: the sum of the source pixels weighed by rows times columns,
/// divided by the sum of the weights, plus 1e-5, clamped to 0..1 (not-a-number gives 0).
/// `destination` has columns.size() x rows.size() pixels.
///
/// Sums are taken in double precision, along the axis first that makes fewer of them; a few rows of
/// sums are all the storage that is needed. Throws `std::bad_alloc` before it writes anything.
void resampleUnit(const float* source, const AxisFilter& columns, const AxisFilter& rows, float* destination);

/// `resampleUnit` for components of 8 bits, where 255 stands for 1; rounds to the nearest.
void resampleUnit(const unsigned char* source, const AxisFilter& columns, const AxisFilter& rows,
                  unsigned char* destination);

/// `resampleUnit` of 8 bits without the 1e-5: the weighed average, rounded to the nearest.
void resampleBytes(const unsigned char* source, const AxisFilter& columns, const AxisFilter& rows,
                   unsigned char* destination);
