// The files behind handles of CreateFileA.
#pragma once

#include "platform/base/descriptor.h"
#include "platform/base/handle.h"

namespace platform {

class OpenFile : public Object {
  public:
    static constexpr Kind kKind = Kind::File;
    explicit OpenFile(Descriptor descriptor) : Object(kKind), descriptor_(std::move(descriptor)) {}

    [[nodiscard]] int Get() const { return descriptor_.Get(); }
    // What was written may fail to arrive only now; throws then.
    void Close();

  private:
    Descriptor descriptor_;
};

}  // namespace platform
