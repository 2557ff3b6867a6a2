#pragma once

#include <vector>

class TpixelMap;

// Windows bitmaps are read and written here, without the platform's image library: the libraries
// differ in the values that they give and in what they make of damaged files.

/// Decodes a file that `prepareBmp` has accepted into new storage of `map`; opaque. Components of
/// other than 8 bits are scaled and rounded; pixels that runs leave out have the first colour of
/// the palette. False when the palette, the runs or the masks are damaged or memory runs out.
bool decodeBmp(const std::vector<unsigned char>& file, TpixelMap& map);

/// Encodes `map` with 24 bits per pixel. May throw `std::bad_alloc`.
void encodeBmp(const TpixelMap& map, std::vector<unsigned char>& file);
