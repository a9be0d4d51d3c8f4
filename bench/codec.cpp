// The ASN.1 codec beside OpenSSL's d2i and i2d, on the same bytes.
//
// Usage: bench_codec TIMESTAMPRESP CERTIFICATE [options of Google Benchmark]
//
// OpenSSL's TS_RESP holds the token down to the TSTInfo, so our side goes as deep: the
// response, the SignedData in its token, the TSTInfo in that. Each side demands at the start
// that its encoding is what it decoded.
#include <benchmark/benchmark.h>
#include <openssl/ts.h>
#include <openssl/x509.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

#include "asn1/rtbersrc/ber_buffer.h"
#include "asn1data/CryptographicMessageSyntax.h"
#include "asn1data/PKIX1Explicit88.h"
#include "asn1data/PKIXTSP.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes ReadFile(const char* name) {
    std::ifstream file(name, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (bytes.empty()) throw std::runtime_error(std::string("cannot read ") + name);
    return bytes;
}

void Demand(bool met, const char* what) {
    if (!met) throw std::runtime_error(what);
}

// ---- ours --------------------------------------------------------------------

template <class Record, class Control>
struct Decoded {
    asn1rt::ASN1BERDecodeBuffer buffer;
    Record record;

    Decoded(const std::uint8_t* data, std::size_t size) : buffer(data, size) {
        Demand(Control(buffer, record).Decode() == 0, "our decoder failed");
    }
};

template <class Record, class Control>
int EncodeOne(Record& record, asn1rt::ASN1BEREncodeBuffer& buffer) {
    const int length = Control(buffer, record).Encode();
    Demand(length > 0, "our encoder failed");
    return length;
}

using OurCertificate = Decoded<asn1data::Certificate, asn1data::ASN1C_Certificate>;

struct OurResponse {
    Decoded<asn1data::TimeStampResp, asn1data::ASN1C_TimeStampResp> response;
    Decoded<asn1data::SignedData, asn1data::ASN1C_SignedData> token;
    Decoded<asn1data::TSTInfo, asn1data::ASN1C_TSTInfo> info;

    explicit OurResponse(const Bytes& der)
        : response(der.data(), der.size()),
          token(response.record.timeStampToken.content.data,
                response.record.timeStampToken.content.numocts),
          info(token.record.encapContentInfo.eContent.data,
               token.record.encapContentInfo.eContent.numocts) {}
};

// From the inside out, each layer taking the bytes of the one below.
int EncodeResponse(OurResponse& one, asn1rt::ASN1BEREncodeBuffer (&buffers)[3]) {
    const int info =
        EncodeOne<asn1data::TSTInfo, asn1data::ASN1C_TSTInfo>(one.info.record, buffers[0]);
    one.token.record.encapContentInfo.eContent = {static_cast<std::uint32_t>(info),
                                                  buffers[0].getMsgPtr()};
    const int token =
        EncodeOne<asn1data::SignedData, asn1data::ASN1C_SignedData>(one.token.record, buffers[1]);
    one.response.record.timeStampToken.content = {static_cast<std::uint32_t>(token),
                                                  buffers[1].getMsgPtr()};
    return EncodeOne<asn1data::TimeStampResp, asn1data::ASN1C_TimeStampResp>(one.response.record,
                                                                             buffers[2]);
}

void Same(const Bytes& der, const std::uint8_t* encoded, int length) {
    Demand(Bytes(encoded, encoded + length) == der, "the encoding differs from the input");
}

void DecodeOurResponse(benchmark::State& state, const Bytes& der) {
    for (auto _ : state) {
        const OurResponse one(der);
        benchmark::DoNotOptimize(&one);
    }
}

void EncodeOurResponse(benchmark::State& state, const Bytes& der) {
    OurResponse one(der);
    asn1rt::ASN1BEREncodeBuffer buffers[3];
    Same(der, (EncodeResponse(one, buffers), buffers[2].getMsgPtr()), EncodeResponse(one, buffers));
    for (auto _ : state) benchmark::DoNotOptimize(EncodeResponse(one, buffers));
}

void DecodeOurCertificate(benchmark::State& state, const Bytes& der) {
    for (auto _ : state) {
        const OurCertificate one(der.data(), der.size());
        benchmark::DoNotOptimize(&one);
    }
}

void EncodeOurCertificate(benchmark::State& state, const Bytes& der) {
    OurCertificate one(der.data(), der.size());
    asn1rt::ASN1BEREncodeBuffer buffer;
    const auto encode = [&] {
        return EncodeOne<asn1data::Certificate, asn1data::ASN1C_Certificate>(one.record, buffer);
    };
    const int length = encode();
    Same(der, buffer.getMsgPtr(), length);
    for (auto _ : state) benchmark::DoNotOptimize(encode());
}

// ---- OpenSSL's ---------------------------------------------------------------

template <class T, void (*kFree)(T*)>
struct Freer {
    void operator()(T* object) const { kFree(object); }
};
using TheirResponse = std::unique_ptr<TS_RESP, Freer<TS_RESP, TS_RESP_free>>;
using TheirCertificate = std::unique_ptr<X509, Freer<X509, X509_free>>;

template <class Holder, auto kDecode>
Holder DecodeTheirs(const Bytes& der) {
    const std::uint8_t* at = der.data();
    Holder object(kDecode(nullptr, &at, static_cast<long>(der.size())));
    Demand(object != nullptr, "OpenSSL's decoder failed");
    return object;
}

template <class Holder, auto kDecode>
void DecodeTheirs(benchmark::State& state, const Bytes& der) {
    for (auto _ : state) benchmark::DoNotOptimize(DecodeTheirs<Holder, kDecode>(der).get());
}

// d2i_X509 keeps the bytes of the part that is signed, and i2d_X509 copies them instead of
// encoding, unless it was told that they are out of date.
void DropKeptBytes(TS_RESP*) {}
void DropKeptBytes(X509* certificate) { i2d_re_X509_tbs(certificate, nullptr); }

enum class Kept { kDropped, kCopied };

template <class Holder, auto kDecode, auto kEncode, Kept kKept = Kept::kDropped>
void EncodeTheirs(benchmark::State& state, const Bytes& der) {
    const Holder object = DecodeTheirs<Holder, kDecode>(der);
    if (kKept == Kept::kDropped) DropKeptBytes(object.get());
    Bytes room(der.size() + 1024);
    const auto encode = [&] {
        std::uint8_t* at = room.data();
        return kEncode(object.get(), &at);
    };
    Same(der, room.data(), encode());
    for (auto _ : state) benchmark::DoNotOptimize(encode());
}

using Work = void (*)(benchmark::State&, const Bytes&);

void Register(const char* name, Work work, const Bytes& der) {
    benchmark::RegisterBenchmark(name, [=, &der](benchmark::State& state) { work(state, der); });
}

// The bytes must outlive the run.
void RegisterAll(const Bytes& response, const Bytes& certificate) {
    Register("ours/decode/TimeStampResp", DecodeOurResponse, response);
    Register("openssl/decode/TimeStampResp", DecodeTheirs<TheirResponse, d2i_TS_RESP>, response);
    Register("ours/encode/TimeStampResp", EncodeOurResponse, response);
    Register("openssl/encode/TimeStampResp", EncodeTheirs<TheirResponse, d2i_TS_RESP, i2d_TS_RESP>,
             response);
    Register("ours/decode/Certificate", DecodeOurCertificate, certificate);
    Register("openssl/decode/Certificate", DecodeTheirs<TheirCertificate, d2i_X509>, certificate);
    Register("ours/encode/Certificate", EncodeOurCertificate, certificate);
    Register("openssl/encode/Certificate", EncodeTheirs<TheirCertificate, d2i_X509, i2d_X509>,
             certificate);
    Register("openssl/copy/Certificate",
             EncodeTheirs<TheirCertificate, d2i_X509, i2d_X509, Kept::kCopied>, certificate);
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        std::cerr << "Usage: bench_codec TIMESTAMPRESP CERTIFICATE [options]\n";
        return 2;
    }
    try {
        const Bytes response = ReadFile(arguments[1]);
        const Bytes certificate = ReadFile(arguments[2]);
        arguments[2] = arguments[0];
        count -= 2;
        benchmark::Initialize(&count, arguments + 2);
        RegisterAll(response, certificate);
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
    return 0;
}
