#pragma once

#include "base/CString.h"
#include "base/Export.h"

/// The base of everything that writes itself as program text.
///
/// The text is what the last `buildStringValue()` made of the object; nothing else changes it, so
/// that it is stale after every other operation. A program or connector rebuilds the parts that it
/// writes, in place, and writes them as they are then.
///
///     HSLProgramUniformItem colour(kFloat4, "lightColor", nullptr);
///     colour.stringValue(); // ""
///     colour.buildStringValue();
///     colour.stringValue(); // "float4 lightColor"
class QV_EXPORT HSLStringContainer {
public:
    /// Recomputes the text. Costs no more than the length of the text.
    virtual void buildStringValue() = 0;
    virtual ~HSLStringContainer();

    HSLStringContainer();
    HSLStringContainer(const HSLStringContainer& other);
    HSLStringContainer(HSLStringContainer&& other) noexcept;
    HSLStringContainer& operator=(const HSLStringContainer& other);
    HSLStringContainer& operator=(HSLStringContainer&& other) noexcept;

    /// A copy of the text as it was last built; empty before that.
    qvString::CString stringValue() const { return fStringValue; }

protected:
    qvString::CString fStringValue;

private:
    friend class HSLProgramText;
};
