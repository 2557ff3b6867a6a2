#include "imaging/ImageCodec.h"

// A build without image files.

bool ImageCodec::available() {
    return false;
}

bool ImageCodec::decode(const ImageHeader& /*header*/, const std::vector<unsigned char>& /*file*/,
                        TpixelMap& /*map*/) {
    return false;
}

bool ImageCodec::encode(ImageKind /*kind*/, const TpixelMap& /*map*/, std::vector<unsigned char>& /*file*/) {
    return false;
}
