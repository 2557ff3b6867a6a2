#pragma once

#include "base/CString.h"
#include "core/DataType.h"
#include "hsl/HSLStringContainer.h"

#include <algorithm>
#include <vector>

class HSLProgramUniformItem;

namespace qvShadingDag {
class ShadingNode;
}

/// The pieces of text that several kinds of program text share. Inside the library only.
class HSLProgramText {
public:
    /// The text of a part, rebuilt in place; without a copy.
    static const qvString::CString& rebuilt(HSLStringContainer& part) {
        part.buildStringValue();
        return part.fStringValue;
    }

    /// The declaration of `name`, "float4 name".
    static qvString::CString declaration(DataType type, const qvString::CString& name);

    /// The reference to a member of the output connector, "outputConnector.name".
    static qvString::CString outputMember(const qvString::CString& name);

    /// " = " and the assignment, copied as it stands; nothing for an empty assignment.
    static void appendAssignment(qvString::CString& text, const qvString::CString& assignment);

    /// The first item of that name or node; null when there is none.
    template <class Items>
    static auto find(Items& items, const qvString::CString& logicalName) {
        const auto at = std::find_if(items.begin(), items.end(), [&logicalName](const auto& item) {
            return item.logicalName() == logicalName;
        });
        return at == items.end() ? nullptr : &*at;
    }
    template <class Items>
    static auto find(Items& items, const qvShadingDag::ShadingNode* node) {
        const auto at = std::find_if(items.begin(), items.end(),
                                     [node](const auto& item) { return item.dataNodePtr() == node; });
        return at == items.end() ? nullptr : &*at;
    }

    /// A connector: its head, the class-wide member, the items, the closing brace.
    template <class Item, class Items>
    static qvString::CString connector(const qvString::CString& header, const qvString::CString& typeName,
                                       Item& first, Items& items);

    /// The parameter list's uniforms, each on a line of its own; null for none.
    static void appendUniforms(qvString::CString& text, std::vector<HSLProgramUniformItem>* uniforms);

    /// The parts of a program under their banner, each on a line of its own; nothing without parts.
    template <class Part>
    static void appendSection(qvString::CString& text, const char* banner, std::vector<Part>& parts);

    /// The return statement and the closing brace of a program.
    static void appendReturn(qvString::CString& text);

private:
    static void openConnector(qvString::CString& text, const qvString::CString& header,
                              const qvString::CString& typeName);
    static void closeConnector(qvString::CString& text);
};

template <class Item, class Items>
qvString::CString HSLProgramText::connector(const qvString::CString& header,
                                            const qvString::CString& typeName, Item& first, Items& items) {
    qvString::CString text;
    openConnector(text, header, typeName);
    text.append("    ").append(rebuilt(first)).append("\n");
    for (Item& item : items) {
        text.append("    ").append(rebuilt(item)).append("\n");
    }
    closeConnector(text);
    return text;
}

template <class Part>
void HSLProgramText::appendSection(qvString::CString& text, const char* banner, std::vector<Part>& parts) {
    if (parts.empty()) {
        return;
    }
    text.append(banner);
    for (Part& part : parts) {
        text.append("\t").append(rebuilt(part)).append("\n");
    }
    text.append("\n");
}
