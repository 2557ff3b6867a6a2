#pragma once

#include "base/CString.h"
#include "base/Export.h"
#include "hsl/HSLApp2VtxConnector.h"
#include "hsl/HSLFragmentProgram.h"
#include "hsl/HSLProgramUniformItem.h"
#include "hsl/HSLVertexProgram.h"
#include "hsl/HSLVtx2FragConnector.h"
#include "hsl/IShadingDagConvertor.h"

#include <vector>

/// The converter to a pair of hardware programs: it sets up the token table and owns the
/// connectors, programs and uniform lists of the pair. The conversion itself is left to derived
/// classes, which override `convert` and fill the protected members with objects from `new`.
///
///     HSLConvertor convertor; // from now on HSLToken::hslTokens is filled
///
/// Constructing one writes the token table without a lock: one thread at a time, and none that
/// writes program text meanwhile.
///
/// On purpose: copies are shallow, so that a copy and its source would both free what they own. Never
/// copy a converter that owns objects.
class QV_EXPORT HSLConvertor : public IShadingDagConvertor {
public:
    /// Profile 1 and an output of halves.
    HSLConvertor();
    /// Sets up the token table for the profile (only profile 1 fills it).
    HSLConvertor(unsigned int profile, bool floatOutput);
    HSLConvertor(const HSLConvertor& other);
    HSLConvertor& operator=(const HSLConvertor& other);
    ~HSLConvertor() override;

    /// Converts nothing; false.
    bool convert() override;
    /// Empty.
    const qvString::CString conversionString() const override;
    /// Touches no file; false.
    bool writeToFile(const qvString::CString& path) override;
    /// Destroys the connectors, programs and uniform lists; may be called at any time. No text may
    /// be built while it runs: the programs outlive the connectors that they refer to.
    void cleanup() override;

protected:
    /// The name becomes "fragout_float" or "fragout", as the token table has it: empty while the
    /// table is.
    void setFFConnectorName(bool floatOutput);
    /// That name; empty until it is set.
    qvString::CString ffConnectorName() const { return fFFConnectorName; }

    /// The texts of the owned objects as they were last built; empty for an object that is not there.
    qvString::CString avConnectorString() const;
    /// The same for the vertex program.
    qvString::CString vertexProgramString() const;
    /// The same for the connector to the fragment program.
    qvString::CString vfConnectorString() const;
    /// The same for the fragment program.
    qvString::CString fragmentProgramString() const;

    /// These take the name of a type or program and do nothing.
    void createAVConnector(const qvString::CString* typeName);
    /// The same.
    void createVertexProgram(const qvString::CString* name);
    /// The same.
    void createVFConnector(const qvString::CString* typeName);
    /// The same.
    void createFragmentProgram(const qvString::CString* name);

    /// These destroy an owned object, if it is there; a program takes its uniform list along.
    void deleteAVConnector();
    /// The same.
    void deleteVertexProgram();
    /// The same.
    void deleteVFConnector();
    /// The same.
    void deleteFragentProgram();

    unsigned int fProfile = 1;
    HSLApp2VtxConnector* fAVConnector = nullptr;
    std::vector<HSLProgramUniformItem>* fVertexUniforms = nullptr;
    HSLVertexProgram* fVertexProgram = nullptr;
    unsigned int fVertexCounter = 0; ///< free for a conversion; `cleanup` resets it
    HSLVtx2FragConnector* fVFConnector = nullptr;
    std::vector<HSLProgramUniformItem>* fFragmentUniforms = nullptr;
    HSLFragmentProgram* fFragmentProgram = nullptr;
    unsigned int fFragmentCounter = 0; ///< free for a conversion; `cleanup` resets it
    qvString::CString fFFConnectorName;

    /// On purpose: stays false, so that every construction sets up the token table again.
    static bool fsTokensInitialized;
};
