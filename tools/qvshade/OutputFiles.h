#pragma once

#include <string>
#include <vector>

/// Files that appear together or not at all.
///
///     OutputFiles files;
///     files.add("lit.vert", vertexText);
///     files.add("lit.frag", fragmentText);
///     files.commit();
///
/// Each is first written beside its place, under a temporary name; `commit` then gives all of them
/// their names. When anything fails, a `Failure` of status `kBadOutput` is thrown, and the
/// destructor takes away what was written: files that were there before are as they were.
///
/// A file that is replaced keeps its permissions, a name that is a link keeps pointing where it
/// does, and a file without permission to write is refused. What is no plain file (a device, a
/// pipe), and a file in a folder where none can be made, is written in place when all the others are
/// ready: only such a file can be left half written.
class OutputFiles {
public:
    OutputFiles() = default;
    OutputFiles(const OutputFiles&) = delete;
    OutputFiles& operator=(const OutputFiles&) = delete;
    ~OutputFiles();

    /// Writes `bytes`, to be found under `file` after `commit`.
    void add(const std::string& file, const std::string& bytes);

    /// For writers that want a path: an empty file whose content, by the time of `commit`, is to be
    /// found under `file`. Its name has no ending that says something.
    std::string reserve(const std::string& file);

    /// Gives all files their names.
    void commit();

private:
    struct Entry {
        std::string name;      ///< as the user gave it, for messages
        std::string target;    ///< behind links
        std::string temporary; ///< empty when it is gone
        std::string old;       ///< what was under `target` before, set aside; empty without
        bool inPlace = false;
        bool renamed = false;
    };

    void writeInPlace(const Entry& entry);
    void rename(Entry& entry, bool keepOld);
    void undo();

    std::vector<Entry> fEntries;
};
