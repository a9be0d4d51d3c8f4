// A source of bytes over a standard stream.
#include "asn1/rtsrc/stream.h"

namespace asn1rt {

OSCFileInputStream::OSCFileInputStream(const char* fileName) : file_(fileName, std::ios::binary) {
    if (!file_) throw OSCStreamException(ASN_E_FILNOTFOU);
}

std::size_t OSCFileInputStream::read(std::uint8_t* data, std::size_t size) {
    if (!isOpened()) throw OSCStreamException(ASN_E_FILEREAD);
    file_.read(reinterpret_cast<char*>(data), static_cast<std::streamsize>(size));
    if (file_.bad()) throw OSCStreamException(ASN_E_FILEREAD);
    return static_cast<std::size_t>(file_.gcount());
}

}  // namespace asn1rt
