#include "core/IResource.h"

#include <utility>

IResource::IResource(std::string name) : fName(std::move(name)) {}

IResource::IResource(const IResource& other) = default;
IResource& IResource::operator=(const IResource& other) {
    fName = other.fName; // the one step that can fail
    qvSharedObject::operator=(other);
    return *this;
}
IResource::~IResource() = default;
