#pragma once

#include "base/Export.h"
#include "core/qvSharedObject.h"

#include <string>

/// The base of what a host keeps on the hardware: a shared object with a name.
///
/// A resource is released with `unref()`, never deleted. Copying a resource copies its name and,
/// as with every shared object, its reference count.
class QV_EXPORT IResource : public qvSharedObject {
public:
    /// The name under which a host lists the resource; may be empty, need not be unique.
    const std::string& name() const { return fName; }
    /// Renames the resource.
    void setName(const std::string& name) { fName = name; }

protected:
    /// A resource of that name, without references.
    explicit IResource(std::string name = std::string());
    IResource(const IResource& other);
    IResource& operator=(const IResource& other);
    ~IResource() override;

private:
    std::string fName;
};
