// Primitives beside OpenSSL's own encoders and decoders, both ways.
#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/objects.h>

#include <memory>
#include <random>

#include "tests/asn1rt/support.h"

namespace asn1rt {
namespace {

template <auto kFree>
struct Freed {
    template <class T>
    void operator()(T* object) const {
        kFree(object);
    }
};
using TheirInteger = std::unique_ptr<ASN1_INTEGER, Freed<ASN1_INTEGER_free>>;
using Object = std::unique_ptr<ASN1_OBJECT, Freed<ASN1_OBJECT_free>>;

template <class T>
Bytes Theirs(int (*encode)(const T*, unsigned char**), const T* object) {
    unsigned char* data = nullptr;
    const int size = encode(object, &data);
    Bytes bytes(data, data + (size < 0 ? 0 : size));
    OPENSSL_free(data);
    return bytes;
}

TEST(BesideOpenSsl, BigIntegers) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 300; ++i) {
        std::string digits = i % 3 == 0 ? "-" : "";
        digits += static_cast<char>('1' + random() % 9);
        for (int j = 0; j < i; ++j) digits += static_cast<char>('0' + random() % 10);
        BIGNUM* number = nullptr;
        ASSERT_NE(BN_dec2bn(&number, digits.c_str()), 0);
        const TheirInteger theirs(BN_to_ASN1_INTEGER(number, nullptr));
        BN_free(number);
        const Bytes expected = Theirs(i2d_ASN1_INTEGER, theirs.get());
        Output output;
        ASSERT_EQ(output.Taken(xe_bigint(*output, {digits.c_str()}, kExplicit)), expected)
            << digits;
        Input input(expected);
        ASN1BigInt read;
        ASSERT_EQ(xd_bigint(*input, read, kExplicit, 0), ASN_OK) << digits;
        Output again;
        ASSERT_EQ(again.Taken(xe_bigint(*again, read, kExplicit)), expected) << read.text;
    }
}

TEST(BesideOpenSsl, ObjectIdentifiers) {
    std::mt19937_64 random(4);
    for (int i = 0; i < 5000; ++i) {
        ASN1OBJID value;
        value.subid[0] = static_cast<std::uint32_t>(random() % 3);
        value.subid[1] = static_cast<std::uint32_t>(random() % (value.subid[0] == 2 ? 5000 : 40));
        value.numids = 2 + static_cast<std::uint32_t>(random() % 12);
        std::string text = std::to_string(value.subid[0]) + "." + std::to_string(value.subid[1]);
        for (std::uint32_t j = 2; j < value.numids; ++j) {
            value.subid[j] = static_cast<std::uint32_t>(random()) >> random() % 32;
            text += "." + std::to_string(value.subid[j]);
        }
        const Object theirs(OBJ_txt2obj(text.c_str(), 1));
        const Bytes expected = Theirs(i2d_ASN1_OBJECT, theirs.get());
        Output output;
        ASSERT_EQ(output.Taken(xe_objid(*output, value, kExplicit)), expected) << text;
        Input input(expected);
        ASN1OBJID read;
        ASSERT_EQ(xd_objid(*input, read, kExplicit, 0), ASN_OK) << text;
        ASSERT_TRUE(read == value) << text;
    }
}

}  // namespace
}  // namespace asn1rt
