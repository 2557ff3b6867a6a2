#include "hsl/HSLConvertor.h"

#include "hsl/HSLToken.h"

using qvString::CString;

namespace {

template <class Object>
void destroy(Object*& object) {
    delete object;
    object = nullptr;
}

CString textOf(const HSLStringContainer* object) {
    return object ? object->stringValue() : CString();
}

} // namespace

bool HSLConvertor::fsTokensInitialized = false;

HSLConvertor::HSLConvertor() : HSLConvertor(1, false) {}

HSLConvertor::HSLConvertor(unsigned int profile, bool floatOutput) : fProfile(profile) {
    if (!fsTokensInitialized) {
        HSLToken::hslTokens.initialize(profile);
    }
    setFFConnectorName(floatOutput);
}

HSLConvertor::HSLConvertor(const HSLConvertor& other) = default;
HSLConvertor& HSLConvertor::operator=(const HSLConvertor& other) = default;

HSLConvertor::~HSLConvertor() {
    HSLConvertor::cleanup();
}

bool HSLConvertor::convert() {
    return false;
}

const CString HSLConvertor::conversionString() const {
    return {};
}

bool HSLConvertor::writeToFile(const CString& /*path*/) {
    return false;
}

void HSLConvertor::cleanup() {
    deleteAVConnector();
    deleteVertexProgram();
    deleteVFConnector();
    deleteFragentProgram();
    fVertexCounter = 0;
    fFragmentCounter = 0;
}

void HSLConvertor::setFFConnectorName(bool floatOutput) {
    fFFConnectorName =
        HSLToken::hslTokens.connectorTypeName(floatOutput ? HSLToken::kFragOutFloat : HSLToken::kFragOut);
}

CString HSLConvertor::avConnectorString() const {
    return textOf(fAVConnector);
}

CString HSLConvertor::vertexProgramString() const {
    return textOf(fVertexProgram);
}

CString HSLConvertor::vfConnectorString() const {
    return textOf(fVFConnector);
}

CString HSLConvertor::fragmentProgramString() const {
    return textOf(fFragmentProgram);
}

void HSLConvertor::createAVConnector(const CString* /*typeName*/) {}
void HSLConvertor::createVertexProgram(const CString* /*name*/) {}
void HSLConvertor::createVFConnector(const CString* /*typeName*/) {}
void HSLConvertor::createFragmentProgram(const CString* /*name*/) {}

void HSLConvertor::deleteAVConnector() {
    destroy(fAVConnector);
}

void HSLConvertor::deleteVertexProgram() {
    destroy(fVertexProgram);
    destroy(fVertexUniforms);
}

void HSLConvertor::deleteVFConnector() {
    destroy(fVFConnector);
}

void HSLConvertor::deleteFragentProgram() {
    destroy(fFragmentProgram);
    destroy(fFragmentUniforms);
}
