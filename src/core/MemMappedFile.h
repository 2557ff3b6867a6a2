#pragma once

#include "base/Export.h"

#include <string>
#include <string_view>
#include <vector>

/// The bytes of text files, held in memory so that a reader can look at any position. Each file is
/// followed by the byte 0xFF and three line feeds. No file stays open.
///
///     MemMappedFile file;
///     if (file.open("stdlib.qvs")) { char first = file[0]; … }
class QV_EXPORT MemMappedFile {
public:
    /// Appends the file in text mode (on Windows, CR LF becomes a line feed and the byte 0x1A ends
    /// the file). Returns false with the bytes unchanged when the file cannot be opened or read (a
    /// folder, say), or when more than 2^31 - 1 bytes would be held.
    bool open(const std::string& fileName);

    /// Appends bytes as they are, followed by the same four as a file. False, with nothing changed,
    /// when more than 2^31 - 1 bytes would be held or there is no memory.
    bool append(std::string_view bytes);

    /// How many bytes follow each file.
    static constexpr unsigned int kEndSize = 4;

    /// Forgets the bytes from `size` on.
    void truncate(unsigned int size);

    /// The byte at `index`; throws an `Exception` of type `kInputError` at `size()` and beyond.
    char operator[](unsigned long index) const {
        if (index >= fBytes.size()) [[unlikely]] {
            throwBeyondEnd();
        }
        return fBytes[index];
    }

    /// How many bytes are held, those appended behind each file included.
    unsigned int size() const { return static_cast<unsigned int>(fBytes.size()); }

    /// The first byte; null while nothing is held.
    const char* data() const { return fBytes.data(); }

private:
    [[noreturn]] static void throwBeyondEnd();

    std::vector<char> fBytes;
};
