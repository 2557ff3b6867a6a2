#pragma once

#include "hsl/HSLNamedItem.h"

/// A uniform parameter of a program, written as "float4 lightColor".
///
/// Programs take their uniforms as a `std::vector<HSLProgramUniformItem>` that the host keeps.
class QV_EXPORT HSLProgramUniformItem : public HSLNamedItem {
public:
    /// Types that a parameter cannot have (`kInvalidDataType`, `kVoid`, `kBool`, the integers and
    /// `kTexObj`) become `kInvalidDataType`. The node is not owned and may be null.
    HSLProgramUniformItem(DataType type, qvString::CString logicalName,
                          qvShadingDag::ShadingNode* const node);

    void buildStringValue() override;

protected:
    HSLProgramUniformItem();
};
