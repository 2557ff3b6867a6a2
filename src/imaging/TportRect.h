#pragma once

/// A rectangle of pixels: its first corner (left, top) and the corner one beyond its last pixel.
struct TportRect {
    TportRect() = default;
    TportRect(int leftEdge, int topEdge, int rightEdge, int bottomEdge)
        : left(leftEdge), top(topEdge), right(rightEdge), bottom(bottomEdge) {}

    /// The extents; 0 for a rectangle whose corners are exchanged.
    unsigned int width() const { return extent(left, right); }
    unsigned int height() const { return extent(top, bottom); }

    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

private:
    static unsigned int extent(int first, int end) {
        return end > first ? static_cast<unsigned int>(end) - static_cast<unsigned int>(first) : 0;
    }
};
