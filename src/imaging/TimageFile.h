#pragma once

#include "imaging/FilePath.h"
#include "imaging/ImageHeader.h"
#include "imaging/OutputFile.h"
#include "imaging/Tstring.h"

#include <vector>

class TpixelMap;

/// How the pixels of a TIFF file are stored.
enum TiffCompression : int { kNoTiffCompression = 0 };

/// A PNG, TIFF, JPEG or BMP file that is read or written as one pixel map.
///
///     TimageFile file;
///     TpixelMap map;
///     if (file.identifyAndOpen(path, false, 0) == 0 && file.readPixelMap(map) == 0) ...
///
/// Operations return 0 on success, another number otherwise. What is written takes its place
/// in `close`, see `OutputFile`; without a successful `close` nothing changes there.
class TimageFile {
public:
    TimageFile() = default;
    TimageFile(const TimageFile&) = delete;
    TimageFile& operator=(const TimageFile&) = delete;
    ~TimageFile() = default;

    /// Reads the file at `path` when its content is of one of the four kinds and complete.
    /// `forWriting` (changing a file in place) and an `imageIndex` other than that of the first
    /// image, 0, are refused.
    int identifyAndOpen(const FilePath& path, bool forWriting, int imageIndex);
    /// Decodes the file that was opened, into storage of the map's own.
    int readPixelMap(TpixelMap& map) const;

    /// Begins a file of the kind "png", "tif", "jpg" or "bmp" (in any case).
    int create(const FilePath& path, unsigned int width, unsigned int height, TiffCompression compression,
               const Tstring& fileKind);
    /// Encodes the map, which must have the extents given to `create`.
    int writePixelMap(const TpixelMap& map);
    /// Gives the file that was begun its name.
    int close();

private:
    std::vector<unsigned char> fBytes; // the file that was opened
    ImageHeader fHeader;               // of the file that was opened or begun
    OutputFile fFile;                  // the file that was begun
};
