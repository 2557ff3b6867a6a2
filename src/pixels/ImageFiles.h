#pragma once

#include "base/Export.h"

/// Reads a PNG, TIFF, JPEG or BMP file, recognised by its content, as `width` x `height` pixels
/// of four bytes (red, green, blue, alpha), top row first. Grey, palette and 16-bit files are
/// converted, the latter by rounding; alpha is never premultiplied and 255 where the file has
/// none (BMP and JPEG never have). Of a file with several images the first is read, as it is stored:
/// fields that ask for it to be turned are not followed, nor are colour profiles.
///
/// With `powerOfTwo` both sides are rounded up to powers of two and the image is interpolated to
/// that size.
///
/// Returns storage that the caller releases with the global `operator delete`. Null, with `width` and
/// `height` unchanged, for a path that names no readable file, a file of another kind, one that
/// is damaged or incomplete, a side above 65,535 (also after rounding up) and an image of more
/// than 2^31 - 1 bytes. The library must have been built with image files (`QV_WITH_IMAGE_FILES`);
/// otherwise the result is always null. Several threads may read and write different files at the same time.
///
/// A path is a string of bytes (nearly always UTF-8); on Windows it is in the process's code page,
/// which is UTF-8 when the program's manifest says so, and `readImageFromWidePath` takes any path.
QV_EXPORT unsigned char* readImageFromFile(const char* path, unsigned short& width, unsigned short& height,
                                           bool powerOfTwo);

/// Writes `width` x `height` pixels of four bytes (red, green, blue, alpha), top row first, to a
/// file of the kind "png", "tif", "jpg" or "bmp" (in any case). PNG and TIFF keep every byte;
/// JPEG and BMP are written without alpha, JPEG with losses.
///
/// On purpose: the caller's buffer is left with its components reordered to blue, green, red,
/// alpha. Errors are not reported: an unknown kind, a side of 0, a folder that cannot be written
/// to and a `path` that names a folder, a pipe, a device or a read-only file leave the buffer as it
/// was. The image is written beside its place first: a file that cannot be written completely leaves
/// nothing under `path`, or what was there before. Where the folder allows no further file, one that
/// is there is written over in place, and is lost when the disk becomes full meanwhile.
///
/// A symbolic link stays, and the file behind it is written; a file that is there keeps its mode (other
/// hard links to it keep the old image). Paths are those of `readImageFromFile`.
QV_EXPORT void writeImageToFile(unsigned char* pixels, unsigned short width, unsigned short height,
                                const char* path, const char* fileKind);

#if defined(_WIN32)
/// `readImageFromFile` with a path of UTF-16; on Windows only.
QV_EXPORT unsigned char* readImageFromWidePath(const wchar_t* path, unsigned short& width,
                                               unsigned short& height, bool powerOfTwo);

/// `writeImageToFile` with a path of UTF-16; on Windows only.
QV_EXPORT void writeImageToWidePath(unsigned char* pixels, unsigned short width, unsigned short height,
                                    const wchar_t* path, const char* fileKind);
#endif

/// The smallest power of two not below `n`; 1 for 0, and 0 above 2^31, where there is none.
QV_EXPORT unsigned int ceilPow2(unsigned int n);
