#include "imaging/FileBytes.h"
#include "imaging/ImageHeader.h"
#include "imaging/ImageSize.h"

#include <algorithm>
#include <array>
#include <cstring>

// Joint Photographic Experts Group: segments of (0xFF, marker, length, data); entropy-coded data
// behind each start of scan; the end of image. Sources: ISO/IEC 10918-1, annexes B, F and G.
//
// Decoders fill up with grey what a scan lacks, and some of them do not tell. So the scans are
// walked through here, code by code; the values of the coefficients are not looked at.

namespace {

constexpr unsigned int kStartOfImage = 0xd8, kEndOfImage = 0xd9, kStartOfScan = 0xda, kRestartInterval = 0xdd;
constexpr unsigned int kHuffmanTables = 0xc4, kQuantisationTables = 0xdb;
constexpr unsigned int kFirstRestart = 0xd0, kLastRestart = 0xd7;
constexpr unsigned int kFileTag = 0xe0, kColorTag = 0xee; // how many components mean which colours

// Encoders make some ten; without a limit a short file keeps a decoder busy for hours.
constexpr unsigned int kMostScans = 100;

bool isRestart(unsigned int marker) {
    return marker >= kFirstRestart && marker <= kLastRestart;
}

// A code has at most 16 bits; the symbols stand in the order of their codes.
struct HuffmanTable {
    bool defined = false;
    std::array<unsigned int, 17> firstCode{};   // of each length
    std::array<unsigned int, 17> codeCount{};   // of each length
    std::array<unsigned int, 17> firstSymbol{}; // of each length
    std::array<unsigned char, 256> symbols{};
    // By the next 8 bits: the length of the code that they begin with, 0 if it is longer, and its symbol.
    std::array<unsigned char, 256> shortLength{};
    std::array<unsigned char, 256> shortSymbol{};
};

struct Component {
    unsigned int id = 0;
    unsigned int across = 0; // blocks of an interleaved unit
    unsigned int down = 0;
    unsigned int blocksWide = 0; // that the image covers
    unsigned int blocksHigh = 0;
    unsigned int storedWide = 0; // that whole units cover
    bool scanned = false;
    std::vector<std::uint64_t> nonZero;  // of a progressive file: a bit for each coefficient of a block
    const HuffmanTable* first = nullptr; // of the scan, for the first coefficients
    const HuffmanTable* other = nullptr; // of the scan, for the others
};

// The bits of a scan, up to the next marker.
class ScanBits {
public:
    ScanBits(const FileBytes& file, std::uint64_t at) : fFile(file), fAt(at) {}

    /// Whether more bits were taken than there are.
    bool exhausted() const { return fMissing > fCount; }
    /// Where the bytes are that were not looked at.
    std::uint64_t at() const { return fAt; }

    /// The next bits, at most 16, with zeros behind the last.
    unsigned int peek(unsigned int count) {
        while (fCount < count) {
            fill();
        }
        return static_cast<unsigned int>(fBits >> (fCount - count)) & ((1U << count) - 1);
    }
    void skip(unsigned int count) { fCount -= count; }
    unsigned int take(unsigned int count) {
        const unsigned int bits = peek(count);
        skip(count);
        return bits;
    }
    /// Drops the rest of the last byte and goes on behind the restart marker, which must be there.
    bool restart() {
        while (fFile.u8(fAt) == 0xff && fFile.u8(fAt + 1) == 0xff) {
            ++fAt; // a marker may be preceded by more of its first byte
        }
        if (exhausted() || fCount - fMissing >= 8 || fFile.u8(fAt) != 0xff || !isRestart(fFile.u8(fAt + 1))) {
            return false;
        }
        fAt += 2;
        fCount = fMissing = 0;
        return true;
    }

private:
    // One more byte; a 0xFF of the data is followed by a 0.
    void fill() {
        unsigned int byte = 0;
        if (fFile.has(fAt, 2) && (fFile.u8(fAt) != 0xff || fFile.u8(fAt + 1) == 0)) {
            byte = fFile.u8(fAt);
            fAt += byte == 0xff ? 2 : 1;
        } else {
            fMissing += 8;
        }
        fBits = fBits << 8 | byte;
        fCount += 8;
    }

    const FileBytes& fFile;
    std::uint64_t fAt;
    std::uint64_t fBits = 0;
    unsigned int fCount = 0;   // bits that are waiting
    unsigned int fMissing = 0; // the zeros among them and before them that were made up
};

// The next symbol; 0 for a code that the table does not have.
unsigned int takeSymbol(ScanBits& bits, const HuffmanTable& table) {
    const unsigned int next = bits.peek(16);
    const unsigned int length = table.shortLength[next >> 8];
    if (length > 0) {
        bits.skip(length);
        return table.shortSymbol[next >> 8];
    }
    for (unsigned int size = 9; size <= 16; ++size) {
        const unsigned int place = (next >> (16 - size)) - table.firstCode[size];
        if (place < table.codeCount[size]) {
            bits.skip(size);
            return table.symbols[table.firstSymbol[size] + place];
        }
    }
    bits.skip(16);
    return 0;
}

class JpegFile {
public:
    explicit JpegFile(std::vector<unsigned char>& file)
        : fFile(file), fBytes(file.data(), file.size(), true) {}

    /// The header of the whole file, which is cut down; `kNoImage` for a damaged one.
    ImageHeader prepare();

private:
    bool readSegment(unsigned int marker, std::uint64_t at, unsigned int length);
    bool readFrame(std::uint64_t at, unsigned int length);
    bool readHuffmanTables(std::uint64_t at, std::uint64_t end);
    bool readScan(std::uint64_t at, unsigned int length);

    bool walkScan(ScanBits& bits, const std::vector<Component*>& components);
    void walkBlock(ScanBits& bits, Component& component, std::size_t block);
    void walkCoefficients(ScanBits& bits, const HuffmanTable& table) const;
    void walkFirstBits(ScanBits& bits, const HuffmanTable& table, std::uint64_t& nonZero);
    void walkFurtherBits(ScanBits& bits, const HuffmanTable& table, std::uint64_t& nonZero);

    void keep(std::uint64_t from, std::uint64_t to) {
        std::memmove(fFile.data() + fKept, fBytes.at(from), static_cast<std::size_t>(to - from));
        fKept += to - from;
    }

    std::vector<unsigned char>& fFile;
    FileBytes fBytes;
    std::uint64_t fKept = 0; // bytes that were moved to the front
    ImageHeader fHeader;
    bool fProgressive = false;
    unsigned int fMostAcross = 1;
    unsigned int fMostDown = 1;
    unsigned int fRestartInterval = 0;
    unsigned int fScans = 0;
    std::vector<Component> fComponents;
    std::array<HuffmanTable, 8> fTables; // four for the first coefficients, four for the others

    // Of the scan; coefficients first..last of each block.
    unsigned int fFirst = 0;
    unsigned int fLast = 63;
    bool fFurtherBits = false;
    unsigned int fEmptyBlocks = 0; // that are still to come
    std::uint64_t fScanEnd = 0;
};

ImageHeader JpegFile::prepare() {
    keep(0, 2);
    std::uint64_t at = 2;
    while (fBytes.has(at, 2)) {
        const unsigned int marker = fBytes.u8(at + 1);
        if (fBytes.u8(at) != 0xff || marker == 0xff || marker == 0) {
            if (fScans == 0 && marker != 0xff) {
                return {};
            }
            ++at; // more of a marker's first byte, or left over behind a scan
        } else if (marker == kEndOfImage) {
            keep(at, at + 2);
            fFile.resize(static_cast<std::size_t>(fKept));
            const bool complete = !fComponents.empty() &&
                                  std::all_of(fComponents.begin(), fComponents.end(),
                                              [](const Component& component) { return component.scanned; });
            return complete ? fHeader : ImageHeader();
        } else if (marker == 1 || isRestart(marker)) {
            at += 2; // markers without data
        } else {
            const unsigned int length = fBytes.u16(at + 2);
            const std::uint64_t end = at + 2 + length;
            if (marker == kStartOfImage || length < 2 || !fBytes.has(at, 2 + std::uint64_t{length}) ||
                !readSegment(marker, at + 4, length - 2)) {
                return {};
            }
            at = marker == kStartOfScan ? fScanEnd : end;
        }
    }
    return {};
}

// Keeps the segments that pixels need; comments, profiles and thumbnails are dropped.
bool JpegFile::readSegment(unsigned int marker, std::uint64_t at, unsigned int length) {
    const std::uint64_t start = at - 4;
    const std::uint64_t end = at + length;
    switch (marker) {
    case 0xc0: // baseline
    case 0xc1: // sequential
    case 0xc2: // progressive
        fProgressive = marker == 0xc2;
        if (!readFrame(at, length)) {
            return false;
        }
        keep(start, end);
        return true;
    case kHuffmanTables:
        if (!readHuffmanTables(at, end)) {
            return false;
        }
        keep(start, end);
        return true;
    case kStartOfScan:
        if (!readScan(at, length)) {
            return false;
        }
        keep(start, fScanEnd);
        return true;
    case kRestartInterval:
        fRestartInterval = fBytes.u16(at);
        keep(start, end);
        return length == 2;
    case kQuantisationTables:
    case kFileTag:
    case kColorTag:
        keep(start, end);
        return true;
    default: // other frames are without loss, of several sizes or coded by arithmetic
        return marker < 0xc0 || marker > 0xcf;
    }
}

bool JpegFile::readFrame(std::uint64_t at, unsigned int length) {
    const unsigned int count = fBytes.u8(at + 5);
    if (!fComponents.empty() || count == 0 || count > 4 || length != 6 + 3 * count || fBytes.u8(at) != 8) {
        return false;
    }
    // A block of 8 x 8 pixels takes a bit at least.
    fHeader = acceptedHeader(kJpegImage, fBytes.u16(at + 3), fBytes.u16(at + 1), 1, fBytes.count() * 8 * 64);
    if (fHeader.kind == kNoImage) {
        return false;
    }
    fComponents.resize(count);
    for (unsigned int i = 0; i < count; ++i) {
        Component& component = fComponents[i];
        component.id = fBytes.u8(at + 6 + 3 * i);
        component.across = fBytes.u8(at + 7 + 3 * i) >> 4;
        component.down = fBytes.u8(at + 7 + 3 * i) & 15;
        if (component.across - 1 > 3 || component.down - 1 > 3) {
            return false;
        }
        fMostAcross = std::max(fMostAcross, component.across);
        fMostDown = std::max(fMostDown, component.down);
    }
    const auto blocks = [](unsigned int size, unsigned int factor, unsigned int most) {
        const unsigned int samples = (size * factor + most - 1) / most;
        return (samples + 7) / 8;
    };
    for (Component& component : fComponents) {
        component.blocksWide = blocks(fHeader.width, component.across, fMostAcross);
        component.blocksHigh = blocks(fHeader.height, component.down, fMostDown);
        component.storedWide =
            (component.blocksWide + component.across - 1) / component.across * component.across;
        if (fProgressive) {
            const unsigned int storedHigh =
                (component.blocksHigh + component.down - 1) / component.down * component.down;
            component.nonZero.resize(std::size_t{component.storedWide} * storedHigh);
        }
    }
    return true;
}

bool JpegFile::readHuffmanTables(std::uint64_t at, std::uint64_t end) {
    while (at < end) {
        const unsigned int kind = fBytes.u8(at) >> 4;
        const unsigned int place = fBytes.u8(at) & 15;
        if (kind > 1 || place > 3) {
            return false;
        }
        HuffmanTable table;
        table.defined = true;
        unsigned int code = 0;
        unsigned int symbol = 0;
        for (unsigned int length = 1; length <= 16; ++length) {
            const unsigned int count = fBytes.u8(at + length);
            table.firstCode[length] = code;
            table.codeCount[length] = count;
            table.firstSymbol[length] = symbol;
            code += count;
            symbol += count;
            if (code > 1U << length || symbol > table.symbols.size()) {
                return false;
            }
            code <<= 1;
        }
        at += 17;
        if (at + symbol > end) {
            return false;
        }
        std::memcpy(table.symbols.data(), fBytes.at(at), symbol);
        at += symbol;
        // The first coefficient of a block has at most 15 bits.
        if (kind == 0 && std::any_of(table.symbols.begin(), table.symbols.begin() + symbol,
                                     [](unsigned char bits) { return bits > 15; })) {
            return false;
        }
        for (unsigned int length = 1; length <= 8; ++length) {
            const unsigned int span = 1U << (8 - length);
            for (unsigned int i = 0; i < table.codeCount[length]; ++i) {
                const unsigned int bits = (table.firstCode[length] + i) * span;
                std::fill_n(table.shortLength.begin() + bits, span, static_cast<unsigned char>(length));
                std::fill_n(table.shortSymbol.begin() + bits, span,
                            table.symbols[table.firstSymbol[length] + i]);
            }
        }
        fTables[4 * kind + place] = table;
    }
    return at == end;
}

bool JpegFile::readScan(std::uint64_t at, unsigned int length) {
    const unsigned int count = fBytes.u8(at);
    if (count == 0 || count > fComponents.size() || length != 4 + 2 * count || ++fScans > kMostScans) {
        return false;
    }
    const std::uint64_t range = at + 1 + 2 * std::uint64_t{count};
    fFirst = fProgressive ? fBytes.u8(range) : 0;
    fLast = fProgressive ? fBytes.u8(range + 1) : 63;
    fFurtherBits = fProgressive && fBytes.u8(range + 2) >> 4 != 0;
    // A progressive file has scans of first coefficients, and scans of others, of one component each.
    if (fLast > 63 || fFirst > fLast || (fProgressive && (fFirst == 0 ? fLast != 0 : count != 1))) {
        return false;
    }
    std::vector<Component*> components;
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned int id = fBytes.u8(at + 1 + 2 * i);
        const unsigned int tables = fBytes.u8(at + 2 + 2 * i);
        const auto component = std::find_if(fComponents.begin(), fComponents.end(),
                                            [id](const Component& known) { return known.id == id; });
        if (component == fComponents.end() || tables >> 4 > 3 || (tables & 15) > 3) {
            return false;
        }
        component->first = &fTables[tables >> 4];
        component->other = &fTables[4 + (tables & 15)];
        if ((fFirst == 0 && !fFurtherBits && !component->first->defined) ||
            (fLast > 0 && !component->other->defined)) {
            return false;
        }
        component->scanned = component->scanned || fFirst == 0;
        components.push_back(&*component);
    }
    ScanBits bits(fBytes, range + 3);
    if (!walkScan(bits, components) || bits.exhausted()) {
        return false;
    }
    fScanEnd = bits.at();
    return true;
}

// All blocks of a scan, in units of those that belong together; a scan of one component has single
// blocks for units. False when a restart marker is missing or the bits end early.
bool JpegFile::walkScan(ScanBits& bits, const std::vector<Component*>& components) {
    const bool single = components.size() == 1;
    const Component& any = *components.front();
    const unsigned int unitsWide = single ? any.blocksWide : any.storedWide / any.across;
    const unsigned int unitsHigh = single ? any.blocksHigh : (any.blocksHigh + any.down - 1) / any.down;
    unsigned int untilRestart = fRestartInterval;
    fEmptyBlocks = 0;
    for (unsigned int y = 0; y < unitsHigh; ++y) {
        for (unsigned int x = 0; x < unitsWide; ++x) {
            if (fRestartInterval != 0 && untilRestart-- == 0) {
                if (!bits.restart()) {
                    return false;
                }
                untilRestart = fRestartInterval - 1;
                fEmptyBlocks = 0;
            }
            for (Component* component : components) {
                const unsigned int across = single ? 1 : component->across;
                const unsigned int down = single ? 1 : component->down;
                for (unsigned int j = 0; j < down; ++j) {
                    const std::size_t row = std::size_t{y} * down + j;
                    for (unsigned int i = 0; i < across; ++i) {
                        walkBlock(bits, *component, row * component->storedWide + x * across + i);
                    }
                }
            }
            if (bits.exhausted()) {
                return false;
            }
        }
    }
    return true;
}

void JpegFile::walkBlock(ScanBits& bits, Component& component, std::size_t block) {
    if (fFirst == 0) {
        bits.take(fFurtherBits ? 1 : takeSymbol(bits, *component.first));
        if (!fProgressive) {
            walkCoefficients(bits, *component.other);
        }
    } else if (fFurtherBits) {
        walkFurtherBits(bits, *component.other, component.nonZero[block]);
    } else {
        walkFirstBits(bits, *component.other, component.nonZero[block]);
    }
}

// The other coefficients of a sequential file: symbols of zeros to skip and bits to take; no bits
// stand for the end of the block, or for 16 zeros.
void JpegFile::walkCoefficients(ScanBits& bits, const HuffmanTable& table) const {
    for (unsigned int k = 1; k <= 63; ++k) {
        const unsigned int symbol = takeSymbol(bits, table);
        const unsigned int zeros = symbol >> 4;
        const unsigned int size = symbol & 15;
        if (size == 0 && zeros != 15) {
            return;
        }
        k += zeros;
        bits.take(size);
    }
}

// The first bits of the others in a progressive file; the end may be that of many blocks.
void JpegFile::walkFirstBits(ScanBits& bits, const HuffmanTable& table, std::uint64_t& nonZero) {
    if (fEmptyBlocks > 0) {
        --fEmptyBlocks;
        return;
    }
    for (unsigned int k = fFirst; k <= fLast; ++k) {
        const unsigned int symbol = takeSymbol(bits, table);
        const unsigned int zeros = symbol >> 4;
        const unsigned int size = symbol & 15;
        if (size == 0 && zeros != 15) {
            fEmptyBlocks = (1U << zeros) - 1 + bits.take(zeros);
            return;
        }
        k += zeros;
        if (size > 0) {
            bits.take(size);
            nonZero |= std::uint64_t{1} << (k & 63);
        }
    }
}

// One bit more: for each coefficient that is not 0 so far, and between them new ones, whose symbol
// counts only the zeros that stay zeros.
void JpegFile::walkFurtherBits(ScanBits& bits, const HuffmanTable& table, std::uint64_t& nonZero) {
    const auto isNonZero = [&nonZero](unsigned int k) { return (nonZero >> k & 1) != 0; };
    unsigned int k = fFirst;
    if (fEmptyBlocks == 0) {
        for (; k <= fLast; ++k) {
            const unsigned int symbol = takeSymbol(bits, table);
            unsigned int zeros = symbol >> 4;
            const bool found = (symbol & 15) != 0;
            if (!found && zeros != 15) {
                fEmptyBlocks = (1U << zeros) + bits.take(zeros);
                break;
            }
            bits.take(found ? 1 : 0);
            for (; k <= fLast && (isNonZero(k) || zeros > 0); ++k) {
                if (isNonZero(k)) {
                    bits.take(1);
                } else {
                    --zeros;
                }
            }
            if (found && k <= fLast) {
                nonZero |= std::uint64_t{1} << k;
            }
        }
    }
    if (fEmptyBlocks > 0) {
        for (; k <= fLast; ++k) {
            bits.take(isNonZero(k) ? 1 : 0);
        }
        --fEmptyBlocks;
    }
}

} // namespace

ImageHeader prepareJpeg(std::vector<unsigned char>& file) {
    return JpegFile(file).prepare();
}
