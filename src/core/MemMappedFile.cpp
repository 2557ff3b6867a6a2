#include "core/MemMappedFile.h"

#include "core/Exception.h"

#include <cstdio>
#include <memory>
#include <new>

namespace {

constexpr std::size_t kMaxSize = 0x7fffffff;
constexpr std::size_t kBlockSize = 16384;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// On purpose: the value of the read that meets the end of the file (0xFF) is kept as a byte, and
// three line feeds follow it; they end a last line comment, word or number.
constexpr char kEnd[MemMappedFile::kEndSize] = {'\xFF', '\n', '\n', '\n'};

/// Appends what is left of `file`; false on a read error or when the result would be too large.
bool appendAll(std::FILE* file, std::vector<char>& bytes) {
    char block[kBlockSize];
    std::size_t count = 0;
    do {
        count = std::fread(block, 1, sizeof block, file);
        if (count + sizeof kEnd > kMaxSize - bytes.size()) {
            return false;
        }
        bytes.insert(bytes.end(), block, block + count);
    } while (count != 0);
    if (std::ferror(file) != 0) {
        return false;
    }
    bytes.insert(bytes.end(), kEnd, kEnd + sizeof kEnd);
    return true;
}

} // namespace

bool MemMappedFile::open(const std::string& fileName) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(fileName.c_str(), "r"));
    if (!file) {
        return false;
    }
    const std::size_t oldSize = fBytes.size();
    bool read = false;
    try {
        read = appendAll(file.get(), fBytes);
    } catch (const std::bad_alloc&) {
        read = false;
    }
    if (!read) {
        fBytes.resize(oldSize);
    }
    return read;
}

bool MemMappedFile::append(std::string_view bytes) {
    if (fBytes.size() + sizeof kEnd > kMaxSize || bytes.size() > kMaxSize - fBytes.size() - sizeof kEnd) {
        return false;
    }
    try {
        fBytes.reserve(fBytes.size() + bytes.size() + sizeof kEnd);
    } catch (const std::bad_alloc&) {
        return false;
    }
    fBytes.insert(fBytes.end(), bytes.begin(), bytes.end());
    fBytes.insert(fBytes.end(), kEnd, kEnd + sizeof kEnd);
    return true;
}

void MemMappedFile::truncate(unsigned int size) {
    if (size < fBytes.size()) {
        fBytes.resize(size);
    }
}

void MemMappedFile::throwBeyondEnd() {
    throw Exception(kInputError);
}
