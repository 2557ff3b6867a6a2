#pragma once

#include "imaging/FilePath.h"

#include <cstddef>
#include <cstdio>

/// A file that is written as a whole: beside its place first, so that no half of it is ever found
/// there.
///
/// A path that is a symbolic link stands for what it leads to. A file that is there keeps its mode,
/// and, where that is allowed, its owner; one that is read-only is refused. Where the folder allows
/// no further file, one that is there is written over in place: that alone loses the old content
/// when it fails half-way.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile() { discard(); }

    /// False for a path at which no file can be written. Changes nothing that is there.
    bool begin(const FilePath& path);
    bool isBegun() const { return fFile != nullptr; }
    /// Writes all that the file will hold; once.
    bool write(const unsigned char* bytes, std::size_t count);
    /// Gives the file its name; false, and nothing new is there, when it was not written completely.
    bool finish();
    /// Gives the file up.
    void discard();

private:
    bool openTemporary();
    bool openInPlace();

    FilePath fTarget;
    FilePath fTemporary; // empty when the target is written in place
    std::FILE* fFile = nullptr;
    bool fComplete = false;
};

/// Opens an ordinary file for reading; null for anything else. A pipe or a device is not even opened:
/// it might keep the caller waiting.
std::FILE* openOrdinaryFile(const FilePath& path);
