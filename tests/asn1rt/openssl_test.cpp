// Primitives beside OpenSSL's own encoders and decoders, both ways.
#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/objects.h>

#include <memory>
#include <random>

#include "asn1rt/support.h"

namespace asn1rt {
namespace {

template <auto kFree>
struct Freed {
    template <class T>
    void operator()(T* object) const {
        kFree(object);
    }
};
using Integer = std::unique_ptr<ASN1_INTEGER, Freed<ASN1_INTEGER_free>>;
using Object = std::unique_ptr<ASN1_OBJECT, Freed<ASN1_OBJECT_free>>;
using BitString = std::unique_ptr<ASN1_BIT_STRING, Freed<ASN1_BIT_STRING_free>>;
using OctetString = std::unique_ptr<ASN1_OCTET_STRING, Freed<ASN1_OCTET_STRING_free>>;

template <class T>
Bytes Theirs(int (*encode)(const T*, unsigned char**), const T* object) {
    unsigned char* data = nullptr;
    const int size = encode(object, &data);
    Bytes bytes(data, data + (size < 0 ? 0 : size));
    OPENSSL_free(data);
    return bytes;
}

TEST(BesideOpenSsl, Integers) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 20000; ++i) {
        const auto value = static_cast<std::int32_t>(random()) >> i % 32;
        const Integer theirs(ASN1_INTEGER_new());
        ASSERT_EQ(ASN1_INTEGER_set_int64(theirs.get(), value), 1);
        const Bytes expected = Theirs(i2d_ASN1_INTEGER, theirs.get());
        Output output;
        ASSERT_EQ(output.Taken(xe_integer(*output, value, kExplicit)), expected) << value;
        Input input(expected);
        ASN1INT read = 0;
        ASSERT_EQ(xd_integer(*input, read, kExplicit, 0), ASN_OK) << value;
        ASSERT_EQ(read, value);
    }
}

TEST(BesideOpenSsl, BigIntegers) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 300; ++i) {
        std::string digits = i % 3 == 0 ? "-" : "";
        digits += static_cast<char>('1' + random() % 9);
        for (int j = 0; j < i; ++j) digits += static_cast<char>('0' + random() % 10);
        BIGNUM* number = nullptr;
        ASSERT_NE(BN_dec2bn(&number, digits.c_str()), 0);
        const Integer theirs(BN_to_ASN1_INTEGER(number, nullptr));
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

TEST(BesideOpenSsl, Strings) {
    std::mt19937_64 random(5);
    for (std::uint32_t size = 0; size < 300; ++size) {
        Bytes bytes(size);
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
        const OctetString octets(ASN1_OCTET_STRING_new());
        ASN1_OCTET_STRING_set(octets.get(), bytes.data(), static_cast<int>(size));
        Output output;
        ASSERT_EQ(output.Taken(xe_octstr(*output, {size, bytes.data()}, kExplicit)),
                  Theirs(i2d_ASN1_OCTET_STRING, octets.get()));

        const auto unused = static_cast<unsigned>(size == 0 ? 0 : random() % 8);
        const BitString bits(ASN1_BIT_STRING_new());
        ASN1_BIT_STRING_set(bits.get(), bytes.data(), static_cast<int>(size));
        bits->flags = static_cast<long>(ASN1_STRING_FLAG_BITS_LEFT | unused);
        const Bytes expected = Theirs(i2d_ASN1_BIT_STRING, bits.get());
        Output bitOutput;
        ASSERT_EQ(
            bitOutput.Taken(xe_bitstr(*bitOutput, {size * 8 - unused, bytes.data()}, kExplicit)),
            expected);
        Input input(expected);
        ASN1DynBitStr read;
        ASSERT_EQ(xd_bitstr(*input, read, kExplicit, 0), ASN_OK);
        ASSERT_EQ(read.numbits, size * 8 - unused);
    }
}

// Whatever tag, form, class and length: the header reads as theirs does.
TEST(BesideOpenSsl, Headers) {
    std::mt19937_64 random(6);
    for (int i = 0; i < 20000; ++i) {
        const auto number = static_cast<ASN1TAG>(random() & 0x1FFFFFFF) >> random() % 29;
        const auto identifier = static_cast<ASN1TAG>(random() % 8) << 29;
        const int length = static_cast<int>(random() % 0x100000) >> random() % 20;
        Bytes expected(static_cast<std::size_t>(length) + 20);
        unsigned char* end = expected.data();
        ASN1_put_object(&end, static_cast<int>(identifier >> 29 & 1), length,
                        static_cast<int>(number), static_cast<int>(identifier >> 24 & 0xC0));
        const auto header = static_cast<std::size_t>(end - expected.data());
        Output output;
        const int written = xe_tag_len(*output, identifier | number, length) - length;
        ASSERT_EQ(output.Taken(written), Bytes(expected.data(), end)) << number << ' ' << length;
        if (identifier >> 24 == 0 && number == 0) continue;
        expected.resize(header + static_cast<std::size_t>(length));
        Input input(expected);
        ASN1TAG tag = 0;
        int read = 0;
        ASSERT_EQ(xd_tag_len(*input, tag, read), ASN_OK) << number << ' ' << length;
        ASSERT_EQ(tag, identifier | number);
        ASSERT_EQ(read, length);
        ASSERT_EQ(input->byteIndex, header);
    }
}

}  // namespace
}  // namespace asn1rt
