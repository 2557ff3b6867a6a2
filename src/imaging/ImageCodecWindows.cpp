#include "imaging/ImageCodec.h"
#include "imaging/ImageSize.h"
#include "imaging/TpixelMap.h"

#include <cstring>
#include <string>

#include <objbase.h>
#include <wincodec.h>

namespace {

// COM for the length of one call. A thread that the host has set up keeps its apartment; every
// initialisation that counted is taken back.
class Apartment {
public:
    Apartment() : fResult(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment() {
        if (SUCCEEDED(fResult)) {
            CoUninitialize();
        }
    }
    bool usable() const { return SUCCEEDED(fResult) || fResult == RPC_E_CHANGED_MODE; }

private:
    HRESULT fResult;
};

// A reference to a COM object.
template <typename T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ~ComPtr() {
        if (fObject) {
            fObject->Release();
        }
    }
    T* operator->() const { return fObject; }
    T* get() const { return fObject; }
    /// Where a function returns its object; once.
    T** receive() { return &fObject; }

private:
    T* fObject = nullptr;
};

bool createFactory(ComPtr<IWICImagingFactory>& factory) {
    return SUCCEEDED(CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                      IID_IWICImagingFactory, reinterpret_cast<void**>(factory.receive())));
}

// The formats of 16 bits per component, which the component's own conversion may cut down to 8.
struct WideFormat {
    const GUID* guid;
    unsigned int channels;
    unsigned int blue, green, red; // positions
    bool alpha;
};
const WideFormat kWideFormats[] = {
    {&GUID_WICPixelFormat16bppGray, 1, 0, 0, 0, false}, {&GUID_WICPixelFormat48bppRGB, 3, 2, 1, 0, false},
    {&GUID_WICPixelFormat48bppBGR, 3, 0, 1, 2, false},  {&GUID_WICPixelFormat64bppRGBA, 4, 2, 1, 0, true},
    {&GUID_WICPixelFormat64bppBGRA, 4, 0, 1, 2, true},
};

// A row at a time, so that a large image is not held twice.
bool copyWide(IWICBitmapSource* source, const WideFormat& format, bool associatedAlpha, TpixelMap& map) {
    const unsigned int width = map.bounds().width();
    std::vector<unsigned short> row(std::size_t{format.channels} * width);
    const auto bytes = static_cast<UINT>(row.size() * sizeof row[0]);
    unsigned char* out = map.pixels();
    for (unsigned int y = 0; y < map.bounds().height(); ++y) {
        const WICRect area = {0, static_cast<INT>(y), static_cast<INT>(width), 1};
        if (FAILED(source->CopyPixels(&area, bytes, bytes, reinterpret_cast<BYTE*>(row.data())))) {
            return false;
        }
        for (const unsigned short* pixel = row.data(); pixel != row.data() + row.size();
             pixel += format.channels, out += 4) {
            storePixel(out, pixel[format.blue], pixel[format.green], pixel[format.red],
                       format.alpha ? pixel[3] : 65535U, associatedAlpha);
        }
    }
    return true;
}

// The formats of indices into a palette. The component's own conversion does not see to it that
// the palette has such a colour.
struct PaletteFormat {
    const GUID* guid;
    unsigned int bits;
};
const PaletteFormat kPaletteFormats[] = {
    {&GUID_WICPixelFormat1bppIndexed, 1},
    {&GUID_WICPixelFormat2bppIndexed, 2},
    {&GUID_WICPixelFormat4bppIndexed, 4},
    {&GUID_WICPixelFormat8bppIndexed, 8},
};

// False for an index beyond the palette.
bool copyPalette(IWICImagingFactory* factory, IWICBitmapSource* source, unsigned int bits, TpixelMap& map) {
    ComPtr<IWICPalette> palette;
    WICColor colors[256] = {}; // 0xAARRGGBB
    UINT count = 0;
    if (FAILED(factory->CreatePalette(palette.receive())) || FAILED(source->CopyPalette(palette.get())) ||
        FAILED(palette->GetColors(256, colors, &count))) {
        return false;
    }
    const unsigned int width = map.bounds().width();
    std::vector<unsigned char> row((std::size_t{width} * bits + 7) / 8);
    const auto bytes = static_cast<UINT>(row.size());
    unsigned char* out = map.pixels();
    for (unsigned int y = 0; y < map.bounds().height(); ++y) {
        const WICRect area = {0, static_cast<INT>(y), static_cast<INT>(width), 1};
        if (FAILED(source->CopyPixels(&area, bytes, bytes, row.data()))) {
            return false;
        }
        for (unsigned int x = 0; x < width; ++x, out += 4) {
            const unsigned int shift = 8 - bits * (x % (8 / bits) + 1);
            const unsigned int index = row[std::size_t{x} * bits / 8] >> shift & ((1U << bits) - 1);
            if (index >= count) {
                return false;
            }
            for (unsigned int c = 0; c < 4; ++c) {
                out[c] = static_cast<unsigned char>(colors[index] >> 8 * c);
            }
        }
    }
    return true;
}

void removeAlpha(TpixelMap& map) {
    const std::size_t bytes = imageBytes(map.bounds().width(), map.bounds().height(), 1, 4);
    constexpr unsigned int kWiden = 257;
    for (unsigned char* pixel = map.pixels(); pixel != map.pixels() + bytes; pixel += 4) {
        storePixel(pixel, pixel[0] * kWiden, pixel[1] * kWiden, pixel[2] * kWiden, pixel[3] * kWiden, true);
    }
}

// Everything else is converted by the component.
bool copyConverted(IWICImagingFactory* factory, IWICBitmapSource* source, TpixelMap& map) {
    ComPtr<IWICFormatConverter> converter;
    const auto bytes = static_cast<UINT>(imageBytes(map.bounds().width(), map.bounds().height(), 1, 4));
    return SUCCEEDED(factory->CreateFormatConverter(converter.receive())) &&
           SUCCEEDED(converter->Initialize(source, GUID_WICPixelFormat32bppBGRA, WICBitmapDitherTypeNone,
                                           nullptr, 0.0, WICBitmapPaletteTypeCustom)) &&
           SUCCEEDED(converter->CopyPixels(nullptr, map.bounds().width() * 4, bytes, map.pixels()));
}

const GUID& containerOf(ImageKind kind) {
    switch (kind) {
    case kPngImage:
        return GUID_ContainerFormatPng;
    case kTiffImage:
        return GUID_ContainerFormatTiff;
    default:
        return GUID_ContainerFormatJpeg;
    }
}

// An option that an encoder does not know is left at its own choice.
void setOption(IPropertyBag2* options, std::wstring name, const VARIANT& value) {
    PROPBAG2 option = {};
    option.pstrName = name.data();
    options->Write(1, &option, const_cast<VARIANT*>(&value));
}

void setOptions(ImageKind kind, IPropertyBag2* options) {
    VARIANT value = {};
    if (kind == kTiffImage) {
        value.vt = VT_UI1;
        value.bVal = WICTiffCompressionNone;
        setOption(options, L"TiffCompressionMethod", value);
    } else if (kind == kJpegImage) {
        value.vt = VT_R4;
        value.fltVal = kJpegQuality / 100.0F;
        setOption(options, L"ImageQuality", value);
        value.vt = VT_UI1;
        value.bVal = WICJpegYCrCbSubsampling444;
        setOption(options, L"JpegYCrCbSubsampling", value);
    }
}

bool writePixels(IWICBitmapFrameEncode* frame, ImageKind kind, const TpixelMap& map) {
    const unsigned int width = map.bounds().width();
    const unsigned int height = map.bounds().height();
    const bool alpha = kind != kJpegImage;
    const GUID wanted = alpha ? GUID_WICPixelFormat32bppBGRA : GUID_WICPixelFormat24bppBGR;
    GUID format = wanted;
    if (FAILED(frame->SetSize(width, height)) || FAILED(frame->SetPixelFormat(&format)) || format != wanted) {
        return false;
    }
    std::vector<unsigned char> row(std::size_t{4} * width);
    const auto rowBytes = static_cast<UINT>(width * (alpha ? 4 : 3));
    for (unsigned int y = 0; y < height; ++y) {
        const unsigned char* pixels = map.pixels() + y * row.size();
        if (alpha) {
            std::memcpy(row.data(), pixels, row.size());
        } else {
            for (unsigned int x = 0; x < width; ++x) {
                std::memcpy(row.data() + std::size_t{3} * x, pixels + std::size_t{4} * x, 3);
            }
        }
        if (FAILED(frame->WritePixels(1, rowBytes, rowBytes, row.data()))) {
            return false;
        }
    }
    return true;
}

// All that was written to a stream in memory.
bool readBack(IStream* stream, std::vector<unsigned char>& file) {
    STATSTG state = {};
    if (FAILED(stream->Stat(&state, STATFLAG_NONAME)) || state.cbSize.QuadPart > kMaxImageBytes ||
        FAILED(stream->Seek({}, STREAM_SEEK_SET, nullptr))) {
        return false;
    }
    file.resize(static_cast<std::size_t>(state.cbSize.QuadPart));
    ULONG read = 0;
    return SUCCEEDED(stream->Read(file.data(), static_cast<ULONG>(file.size()), &read)) &&
           read == file.size();
}

} // namespace

bool ImageCodec::available() {
    return true;
}

bool ImageCodec::decode(const ImageHeader& header, const std::vector<unsigned char>& file, TpixelMap& map) {
    const Apartment apartment;
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IWICStream> stream;
    ComPtr<IWICBitmapDecoder> decoder;
    ComPtr<IWICBitmapFrameDecode> frame;
    WICPixelFormatGUID format = {};
    UINT width = 0;
    UINT height = 0;
    // The stream only reads from the block that it is given.
    auto* bytes = const_cast<unsigned char*>(file.data());
    if (!apartment.usable() || !createFactory(factory) || FAILED(factory->CreateStream(stream.receive())) ||
        FAILED(stream->InitializeFromMemory(bytes, static_cast<DWORD>(file.size()))) ||
        FAILED(factory->CreateDecoder(containerOf(header.kind), nullptr, decoder.receive())) ||
        FAILED(decoder->Initialize(stream.get(), WICDecodeMetadataCacheOnDemand)) ||
        FAILED(decoder->GetFrame(0, frame.receive())) || FAILED(frame->GetSize(&width, &height)) ||
        width != header.width || height != header.height || FAILED(frame->GetPixelFormat(&format)) ||
        map.create(width, height) != 0) {
        return false;
    }
    for (const WideFormat& wide : kWideFormats) {
        if (*wide.guid == format) {
            return copyWide(frame.get(), wide, header.associatedAlpha, map);
        }
    }
    for (const PaletteFormat& palette : kPaletteFormats) {
        if (*palette.guid == format) {
            return copyPalette(factory.get(), frame.get(), palette.bits, map);
        }
    }
    if (!copyConverted(factory.get(), frame.get(), map)) {
        return false;
    }
    if (header.associatedAlpha) {
        removeAlpha(map);
    }
    return true;
}

bool ImageCodec::encode(ImageKind kind, const TpixelMap& map, std::vector<unsigned char>& file) {
    const Apartment apartment;
    ComPtr<IWICImagingFactory> factory;
    ComPtr<IStream> stream;
    ComPtr<IWICBitmapEncoder> encoder;
    ComPtr<IWICBitmapFrameEncode> frame;
    ComPtr<IPropertyBag2> options;
    if (!apartment.usable() || !createFactory(factory) ||
        FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.receive())) ||
        FAILED(factory->CreateEncoder(containerOf(kind), nullptr, encoder.receive())) ||
        FAILED(encoder->Initialize(stream.get(), WICBitmapEncoderNoCache)) ||
        FAILED(encoder->CreateNewFrame(frame.receive(), options.receive()))) {
        return false;
    }
    setOptions(kind, options.get());
    return SUCCEEDED(frame->Initialize(options.get())) && writePixels(frame.get(), kind, map) &&
           SUCCEEDED(frame->Commit()) && SUCCEEDED(encoder->Commit()) && readBack(stream.get(), file);
}
