#include "geometry/GeometryDataIterator.h"

void GeometryDataIterator::reset(const GeometryDataIndex* index, const unsigned int* collections) {
    fIndex = index;
    fPosition = 0;
    fRangeEnd = kNoRange;
    fVertex = fNormal = fTextureCoord = fTextureCoord2 = fColor = fWeight = fTangent = fTangent2 = fBinormal =
        fUserData = Attribute();
    if (!index) {
        return;
    }
    for (const GeometryData* data : *index->dataPtrArrayPtr()) {
        if (!data) {
            continue;
        }
        const Attribute attribute = {data->data(), static_cast<unsigned long>(data->elementSize()) * 4};
        const auto assignSets = [&](Attribute& first, Attribute& second) {
            const auto number = static_cast<unsigned int>(data->collectionNumber());
            if (!collections || collections[0] == number) {
                first = attribute;
            }
            if (!collections || collections[1] == number) {
                second = attribute;
            }
        };
        switch (data->dataType()) {
        case GeometryData::kVertexData:
            fVertex = attribute;
            break;
        case GeometryData::kNormalData:
            fNormal = attribute;
            break;
        case GeometryData::kTexCoordData:
            assignSets(fTextureCoord, fTextureCoord2);
            break;
        case GeometryData::kColorData:
            fColor = attribute;
            break;
        case GeometryData::kWeightData:
            fWeight = attribute;
            break;
        case GeometryData::kTangentData:
            assignSets(fTangent, fTangent2);
            break;
        case GeometryData::kBinormalData:
            fBinormal = attribute;
            break;
        case GeometryData::kUserData:
            fUserData = attribute;
            break;
        }
    }
}

bool GeometryDataIterator::setRange(unsigned long /*start*/, unsigned long end) {
    const bool fits = end <= count();
    fRangeEnd = fits ? end : kNoRange;
    return fits;
}
