// Sources for messages that are not in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>

#include "asn1/rtsrc/message_buffer.h"

namespace asn1rt {

// Carries ASN_E_FILNOTFOU or ASN_E_FILEREAD.
class OSCStreamException : public ASN1RTLException {
  public:
    using ASN1RTLException::ASN1RTLException;
};

class OSCStream {
  public:
    OSCStream() = default;
    virtual ~OSCStream() = default;
    OSCStream(const OSCStream&) = delete;
    OSCStream& operator=(const OSCStream&) = delete;
    [[nodiscard]] virtual bool isOpened() const = 0;
    virtual void close() = 0;
};

class OSCInputStream : public OSCStream {
  public:
    // The count of bytes read, less than `size` at the end only. Throws OSCStreamException.
    virtual std::size_t read(std::uint8_t* data, std::size_t size) = 0;
};

class OSCFileInputStream : public OSCInputStream {
  public:
    // Throws OSCStreamException.
    explicit OSCFileInputStream(const char* fileName);
    [[nodiscard]] bool isOpened() const override { return file_.is_open(); }
    void close() override { file_.close(); }
    std::size_t read(std::uint8_t* data, std::size_t size) override;

  private:
    std::ifstream file_;
};

}  // namespace asn1rt
