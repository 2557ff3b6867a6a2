#include "imaging/TimageFile.h"

#include "imaging/ImageCodec.h"
#include "imaging/ImageSize.h"
#include "imaging/TpixelMap.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string>
#include <sys/stat.h>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

enum PathKind : int { kNothing, kOrdinaryFile, kOtherThing };

// What lies at `path`; folders, pipes and devices are other things.
PathKind kindOfPath(const char* path) {
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return kNothing;
    }
    return (status.st_mode & S_IFMT) == S_IFREG ? kOrdinaryFile : kOtherThing;
}

// The whole file, when it begins like an image. A pipe or a device is not even opened: it might
// keep the caller waiting. The size is asked for before anything is allocated.
bool readFile(const char* path, std::vector<unsigned char>& bytes) {
    if (kindOfPath(path) != kOrdinaryFile) {
        return false;
    }
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path, "rb"));
    unsigned char start[8];
    if (!file || identifyImage(start, std::fread(start, 1, sizeof start, file.get())) == kNoImage ||
        std::fseek(file.get(), 0, SEEK_END) != 0) {
        return false;
    }
    const long size = std::ftell(file.get());
    if (size <= 0 || static_cast<unsigned long>(size) > kMaxImageBytes) {
        return false;
    }
    std::rewind(file.get());
    bytes.resize(static_cast<std::size_t>(size));
    return std::fread(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
}

// A file that did not exist, next to `path`; null when none can be made. Its short name leaves the
// other one all the length that the file system allows.
std::FILE* openTemporary(const Tstring& path, Tstring& temporaryPath) {
    static std::atomic<unsigned int> fsNumber{0};
#if defined(_WIN32)
    constexpr const char* kSeparators = "/\\:";
#else
    constexpr const char* kSeparators = "/";
#endif
    std::string folder = path.asChar();
    folder.resize(folder.find_last_of(kSeparators) + 1); // none: npos + 1 is 0

    constexpr int kAttempts = 100; // what an earlier process left behind is passed over
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        char name[48];
#if defined(_WIN32)
        std::snprintf(name, sizeof name, "qv-%d-%u.tmp", _getpid(), fsNumber++);
        temporaryPath = (folder + name).c_str();
        const int handle =
            _open(temporaryPath.asChar(), _O_CREAT | _O_EXCL | _O_WRONLY | _O_BINARY, _S_IREAD | _S_IWRITE);
        if (handle >= 0) {
            return _fdopen(handle, "wb");
        }
#else
        std::snprintf(name, sizeof name, "qv-%d-%u.tmp", static_cast<int>(getpid()), fsNumber++);
        temporaryPath = (folder + name).c_str();
        const int handle = open(temporaryPath.asChar(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
        if (handle >= 0) {
            return fdopen(handle, "wb");
        }
#endif
        if (errno != EEXIST) {
            break;
        }
    }
    return nullptr;
}

// Gives a file another name, also one that is in use.
bool replaceFile(const char* from, const char* to) {
#if defined(_WIN32)
    return MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING) != 0;
#else
    return std::rename(from, to) == 0;
#endif
}

ImageKind kindOf(const Tstring& fileKind) {
    constexpr struct {
        const char* name;
        ImageKind kind;
    } kKinds[] = {{"png", kPngImage}, {"tif", kTiffImage}, {"jpg", kJpegImage}, {"bmp", kBmpImage}};
    for (const auto& row : kKinds) {
        if (fileKind.equalsIgnoringCase(row.name)) {
            return row.kind;
        }
    }
    return kNoImage;
}

// What every operation returns when it could not do its work.
constexpr int kFailed = 1;

} // namespace

TimageFile::~TimageFile() {
    discard();
}

int TimageFile::identifyAndOpen(const Tstring& path, bool forWriting, int imageIndex) {
    fHeader = ImageHeader();
    fBytes.clear();
    if (forWriting || imageIndex != 0 || !ImageCodec::available()) {
        return kFailed;
    }
    try {
        if (readFile(path.asChar(), fBytes)) {
            fHeader = readImageHeader(fBytes.data(), fBytes.size());
        }
    } catch (const std::bad_alloc&) { // the header stays empty
    }
    return fHeader.kind != kNoImage ? 0 : kFailed;
}

int TimageFile::readPixelMap(TpixelMap& map) const {
    try {
        if (fHeader.kind == kNoImage || !ImageCodec::decode(fHeader, fBytes, map)) {
            return kFailed;
        }
    } catch (const std::bad_alloc&) {
        return kFailed;
    }
    if (fHeader.kind == kJpegImage || fHeader.kind == kBmpImage) {
        const std::size_t bytes = imageBytes(fHeader.width, fHeader.height, 1, 4);
        for (std::size_t i = 3; i < bytes; i += 4) {
            map.pixels()[i] = 255;
        }
    }
    return 0;
}

int TimageFile::create(const Tstring& path, unsigned int width, unsigned int height,
                       TiffCompression compression, const Tstring& fileKind) {
    discard();
    fHeader = {kindOf(fileKind), width, height};
    if (fHeader.kind == kNoImage || compression != kNoTiffCompression || path.isEmpty() ||
        width > kMaxFileSide || height > kMaxFileSide || imageBytes(width, height, 1, 4) == 0 ||
        !ImageCodec::available() || kindOfPath(path.asChar()) == kOtherThing) {
        return kFailed;
    }
    fPath = path;
    fTemporary = openTemporary(path, fTemporaryPath);
    return fTemporary ? 0 : kFailed;
}

int TimageFile::writePixelMap(const TpixelMap& map) {
    if (!fTemporary || !map.pixels() || map.bounds().width() != fHeader.width ||
        map.bounds().height() != fHeader.height) {
        return kFailed;
    }
    try {
        std::vector<unsigned char> bytes;
        fWritten = ImageCodec::encode(fHeader.kind, map, bytes) &&
                   std::fwrite(bytes.data(), 1, bytes.size(), fTemporary) == bytes.size();
    } catch (const std::bad_alloc&) {
        fWritten = false;
    }
    return fWritten ? 0 : kFailed;
}

int TimageFile::close() {
    if (!fTemporary) {
        return kFailed;
    }
    const bool complete = std::fclose(fTemporary) == 0 && fWritten;
    fTemporary = nullptr;
    fWritten = false;
    if (complete && replaceFile(fTemporaryPath.asChar(), fPath.asChar())) {
        return 0;
    }
    std::remove(fTemporaryPath.asChar());
    return kFailed;
}

void TimageFile::discard() {
    fWritten = false;
    if (fTemporary) {
        close();
    }
}
