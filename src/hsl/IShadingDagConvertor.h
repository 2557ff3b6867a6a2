#pragma once

#include "base/CString.h"
#include "base/Export.h"

/// A converter that turns a shading graph into some output text.
class QV_EXPORT IShadingDagConvertor {
public:
    IShadingDagConvertor() = default;
    /// Copying and assigning through the interface copy nothing.
    IShadingDagConvertor(const IShadingDagConvertor&) = default;
    IShadingDagConvertor& operator=(const IShadingDagConvertor&) = default;
    virtual ~IShadingDagConvertor();

    /// Converts; false when that failed.
    virtual bool convert() = 0;
    /// The text of the last conversion.
    virtual const qvString::CString conversionString() const = 0;
    /// Writes the text of the last conversion to a file; false when that failed.
    virtual bool writeToFile(const qvString::CString& path) = 0;
    /// Drops what the last conversion made.
    virtual void cleanup() = 0;
};
