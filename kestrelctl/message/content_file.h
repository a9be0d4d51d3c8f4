// Content on its way to a file: beside it until the verdict is known, then in its place.
#pragma once

#include <memory>
#include <string>

#include "platform/base/bytes.h"
#include "platform/base/draft.h"

namespace kestrelctl::message {

class ContentFile {
  public:
    // A name that exists has to be an ordinary file's. Throws with the name.
    explicit ContentFile(std::string name);
    void Write(platform::ByteView piece);
    // Puts the content in place; without it, it is gone with this object.
    void Keep();

  private:
    void Put(platform::ByteView octets);
    void Flush();

    std::string name_;
    std::string place_;  // where links from the name lead
    std::unique_ptr<platform::Draft> draft_;
    platform::Bytes buffer_;
};

}  // namespace kestrelctl::message
