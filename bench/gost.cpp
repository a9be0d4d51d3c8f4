// Speeds of the GOST algorithms beside OpenSSL's engine, nettle and libgcrypt: one line a
// measurement, "algorithm implementation value", in MB/s for streams and in microseconds for
// signatures. Everything runs in turns, and the best turn counts.
#define OPENSSL_SUPPRESS_DEPRECATED  // the engine interface has no other name

#include <gcrypt.h>
#include <nettle/gosthash94.h>
#include <nettle/streebog.h>
#include <openssl/engine.h>
#include <openssl/evp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/gost/block.h"
#include "platform/gost/cipher89.h"
#include "platform/gost/curve.h"
#include "platform/gost/digest94.h"
#include "platform/gost/streebog.h"

namespace {

using platform::Bytes;
namespace gost = platform::gost;

constexpr std::size_t kSize = std::size_t{1} << 20;
constexpr int kTurns = 25;

struct Entry {
    std::string algorithm;
    std::string who;
    std::function<void()> run;
    bool perCall = false;  // microseconds, not MB/s
    double best = 1e9;
};

double Once(const std::function<void()>& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<Entry> entries;
Bytes text(kSize, 0x5A);
Bytes out(kSize + 64);
const Bytes key(32, 0x11);
const Bytes iv(8, 0x22);

void Add(const char* algorithm, const char* who, std::function<void()> run, bool perCall = false) {
    entries.push_back({algorithm, who, std::move(run), perCall});
}

void AddOurs() {
    Add("34.11-94", "ours", [d = gost::Digest94()]() mutable { d.Update(text); });
    Add("34.11-2012", "ours", [d = gost::Streebog(32)]() mutable { d.Update(text); });
    for (const bool encrypts : {true, false}) {
        const gost::Key89 cipherKey(*gost::FindSubstitution(gost::kCipherSetA), key);
        Add(encrypts ? "28147-89-encrypt" : "28147-89-decrypt", "ours",
            [c = gost::Feedback89(cipherKey, iv, true, encrypts)]() mutable {
                c.Turn(text.data(), out.data(), kSize);
            });
    }
    for (const char* name : {"magma", "kuznyechik"}) {
        const bool magma = std::string(name) == "magma";
        Add(name, "ours",
            [c = std::make_shared<gost::CounterAcpkm>(
                 magma ? gost::NewMagma(key) : gost::NewKuznyechik(key),
                 platform::ByteView(iv).first(magma ? 4 : 8), magma ? 8192 : 262144)] {
                c->Turn(text.data(), out.data(), kSize);
            });
    }
}

void AddNettle() {
    gosthash94_ctx old;
    gosthash94cp_init(&old);
    Add("34.11-94", "nettle", [old]() mutable { gosthash94cp_update(&old, kSize, text.data()); });
    streebog256_ctx context;
    streebog256_init(&context);
    Add("34.11-2012", "nettle",
        [context]() mutable { streebog256_update(&context, kSize, text.data()); });
}

void AddGcrypt() {
    gcry_check_version(nullptr);
    const auto digest = [](const char* name, int algorithm) {
        gcry_md_hd_t handle = nullptr;
        gcry_md_open(&handle, algorithm, 0);
        Add(name, "libgcrypt", [handle] { gcry_md_write(handle, text.data(), kSize); });
    };
    digest("34.11-94", GCRY_MD_GOSTR3411_CP);
    digest("34.11-2012", GCRY_MD_STRIBOG256);
    for (const bool encrypts : {true, false}) {
        gcry_cipher_hd_t handle = nullptr;
        gcry_cipher_open(&handle, GCRY_CIPHER_GOST28147_MESH, GCRY_CIPHER_MODE_CFB, 0);
        gcry_cipher_setkey(handle, key.data(), key.size());
        gcry_cipher_setiv(handle, iv.data(), iv.size());
        Add(encrypts ? "28147-89-encrypt" : "28147-89-decrypt", "libgcrypt", [handle, encrypts] {
            encrypts ? gcry_cipher_encrypt(handle, out.data(), kSize, text.data(), kSize)
                     : gcry_cipher_decrypt(handle, out.data(), kSize, text.data(), kSize);
        });
    }
}

void AddEngineStreams(ENGINE* engine) {
    const auto digest = [engine](const char* name, const char* theirs) {
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        EVP_DigestInit_ex(context, ENGINE_get_digest(engine, OBJ_sn2nid(theirs)), engine);
        Add(name, "engine", [context] { EVP_DigestUpdate(context, text.data(), kSize); });
    };
    digest("34.11-94", "md_gost94");
    digest("34.11-2012", "md_gost12_256");
    const auto cipher = [engine](const char* name, const char* theirs, int encrypts) {
        EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
        const Bytes longIv(16, 0x22);
        EVP_CipherInit_ex(context, ENGINE_get_cipher(engine, OBJ_sn2nid(theirs)), engine,
                          key.data(), longIv.data(), encrypts);
        Add(name, "engine", [context] {
            int size = 0;
            EVP_CipherUpdate(context, out.data(), &size, text.data(), static_cast<int>(kSize));
        });
    };
    cipher("28147-89-encrypt", "gost89", 1);
    cipher("28147-89-decrypt", "gost89", 0);
    cipher("magma", "magma-ctr-acpkm", 1);
    cipher("kuznyechik", "kuznyechik-ctr-acpkm", 1);
}

// A fresh key of each side on one parameter set.
void AddSignatures(const char* name, const char* oid, int nid, const char* set) {
    const gost::Curve& curve = *gost::Curve::Find(oid);
    const platform::Secret secret = curve.NewPrivate();
    const Bytes point = curve.PublicOf(secret.View());
    const Bytes digest(curve.Size(), 0x33);
    const Bytes made = curve.Sign(secret.View(), digest);
    Add((std::string("sign-") + name).c_str(), "ours",
        [&curve, secret, digest] { (void)curve.Sign(secret.View(), digest); }, true);
    Add((std::string("verify-") + name).c_str(), "ours",
        [&curve, point, digest, made] { (void)curve.Verify(point, digest, made); }, true);
    EVP_PKEY_CTX* generation = EVP_PKEY_CTX_new_id(nid, nullptr);
    EVP_PKEY* pair = nullptr;
    EVP_PKEY_keygen_init(generation);
    EVP_PKEY_CTX_ctrl_str(generation, "paramset", set);
    EVP_PKEY_keygen(generation, &pair);
    EVP_PKEY_CTX* signing = EVP_PKEY_CTX_new(pair, nullptr);
    EVP_PKEY_sign_init(signing);
    Bytes signature(128);
    std::size_t size = signature.size();
    EVP_PKEY_sign(signing, signature.data(), &size, digest.data(), digest.size());
    signature.resize(size);
    Add((std::string("sign-") + name).c_str(), "engine",
        [signing, digest] {
            Bytes room(128);
            std::size_t length = room.size();
            EVP_PKEY_sign(signing, room.data(), &length, digest.data(), digest.size());
        },
        true);
    EVP_PKEY_CTX* verifying = EVP_PKEY_CTX_new(pair, nullptr);
    EVP_PKEY_verify_init(verifying);
    Add((std::string("verify-") + name).c_str(), "engine",
        [verifying, digest, signature] {
            EVP_PKEY_verify(verifying, signature.data(), signature.size(), digest.data(),
                            digest.size());
        },
        true);
}

}  // namespace

int main() {
    ENGINE* engine = ENGINE_by_id("gost");
    if (engine == nullptr || ENGINE_init(engine) != 1) {
        std::fputs("No gost engine: install libengine-gost-openssl.\n", stderr);
        return 1;
    }
    ENGINE_set_default(engine, ENGINE_METHOD_ALL);
    AddOurs();
    AddNettle();
    AddGcrypt();
    AddEngineStreams(engine);
    AddSignatures("256", "1.2.643.2.2.35.1", NID_id_GostR3410_2012_256, "A");
    AddSignatures("256-twisted", "1.2.643.7.1.2.1.1.1", NID_id_GostR3410_2012_256, "TCA");
    AddSignatures("512", "1.2.643.7.1.2.1.2.1", NID_id_GostR3410_2012_512, "A");
    for (int turn = 0; turn < kTurns; ++turn) {
        for (Entry& entry : entries) {
            // A signature is too short to be timed alone once.
            for (int i = 0; i < (entry.perCall ? 10 : 1); ++i) {
                entry.best = std::min(entry.best, Once(entry.run));
            }
        }
    }
    for (const Entry& entry : entries) {
        const double value = entry.perCall ? entry.best * 1e6 : kSize / 1e6 / entry.best;
        std::printf("%s %s %.1f\n", entry.algorithm.c_str(), entry.who.c_str(), value);
    }
}
