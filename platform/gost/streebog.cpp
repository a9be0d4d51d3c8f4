// GOST R 34.11-2012: the three transformations of a round are one table read an octet.
#include "platform/gost/streebog.h"

#include <algorithm>

#include "platform/gost/nonlinear.h"
#include "platform/gost/words.h"

namespace platform::gost {
namespace {

using Words = Streebog::Words;

// Rows of the linear transformation's matrix, for the highest bit first (RFC 6986, 6.4).
constexpr std::array<std::uint64_t, 64> kMatrix = {
    0x8e20faa72ba0b470, 0x47107ddd9b505a38, 0xad08b0e0c3282d1c, 0xd8045870ef14980e,
    0x6c022c38f90a4c07, 0x3601161cf205268d, 0x1b8e0b0e798c13c8, 0x83478b07b2468764,
    0xa011d380818e8f40, 0x5086e740ce47c920, 0x2843fd2067adea10, 0x14aff010bdd87508,
    0x0ad97808d06cb404, 0x05e23c0468365a02, 0x8c711e02341b2d01, 0x46b60f011a83988e,
    0x90dab52a387ae76f, 0x486dd4151c3dfdb9, 0x24b86a840e90f0d2, 0x125c354207487869,
    0x092e94218d243cba, 0x8a174a9ec8121e5d, 0x4585254f64090fa0, 0xaccc9ca9328a8950,
    0x9d4df05d5f661451, 0xc0a878a0a1330aa6, 0x60543c50de970553, 0x302a1e286fc58ca7,
    0x18150f14b9ec46dd, 0x0c84890ad27623e0, 0x0642ca05693b9f70, 0x0321658cba93c138,
    0x86275df09ce8aaa8, 0x439da0784e745554, 0xafc0503c273aa42a, 0xd960281e9d1d5215,
    0xe230140fc0802984, 0x71180a8960409a42, 0xb60c05ca30204d21, 0x5b068c651810a89e,
    0x456c34887a3805b9, 0xac361a443d1c8cd2, 0x561b0d22900e4669, 0x2b838811480723ba,
    0x9bcf4486248d9f5d, 0xc3e9224312c8c1a0, 0xeffa11af0964ee50, 0xf97d86d98a327728,
    0xe4fa2054a80b329c, 0x727d102a548b194e, 0x39b008152acb8227, 0x9258048415eb419d,
    0x492c024284fbaec0, 0xaa16012142f35760, 0x550b8e9e21f7a530, 0xa48b474f9ef5dc18,
    0x70a6a56e2440598e, 0x3853dc371220a247, 0x1ca76e95091051ad, 0x0edd37c48a08a6d8,
    0x07e095624504536c, 0x8d70c431ac02a736, 0xc83862965601dd1b, 0x641c314b2b8ee083};

// The iteration constants (RFC 6986, 6.5), lowest word first.
constexpr Words kConstants[12] = {
    {{0xdd806559f2a64507, 0x05767436cc744d23, 0xa2422a08a460d315, 0x4b7ce09192676901,
      0x714eb88d7585c4fc, 0x2f6a76432e45d016, 0xebcb2f81c0657c1f, 0xb1085bda1ecadae9}},
    {{0xe679047021b19bb7, 0x55dda21bd7cbcd56, 0x5cb561c2db0aa7ca, 0x9ab5176b12d69958,
      0x61d55e0f16b50131, 0xf3feea720a232b98, 0x4fe39d460f70b5d7, 0x6fa3b58aa99d2f1a}},
    {{0x991e96f50aba0ab2, 0xc2b6f443867adb31, 0xc1c93a376062db09, 0xd3e20fe490359eb1,
      0xf2ea7514b1297b7b, 0x06f15e5f529c1f8b, 0x0a39fc286a3d8435, 0xf574dcac2bce2fc7}},
    {{0x220cbebc84e3d12e, 0x3453eaa193e837f1, 0xd8b71333935203be, 0xa9d72c82ed03d675,
      0x9d721cad685e353f, 0x488e857e335c3c7d, 0xf948e1a05d71e4dd, 0xef1fdfb3e81566d2}},
    {{0x601758fd7c6cfe57, 0x7a56a27ea9ea63f5, 0xdfff00b723271a16, 0xbfcd1747253af5a3,
      0x359e35d7800fffbd, 0x7f151c1f1686104a, 0x9a3f410c6ca92363, 0x4bea6bacad474799}},
    {{0xfa68407a46647d6e, 0xbf71c57236904f35, 0x0af21f66c2bec6b6, 0xcffaa6b71c9ab7b4,
      0x187f9ab49af08ec6, 0x2d66c4f95142a46c, 0x6fa4c33b7a3039c0, 0xae4faeae1d3ad3d9}},
    {{0x8886564d3a14d493, 0x3517454ca23c4af3, 0x06476983284a0504, 0x0992abc52d822c37,
      0xd3473e33197a93c9, 0x399ec6c7e6bf87c9, 0x51ac86febf240954, 0xf4c70e16eeaac5ec}},
    {{0xa47f0dd4bf02e71e, 0x36acc2355951a8d9, 0x69d18d2bd1a5c42f, 0xf4892bcb929b0690,
      0x89b4443b4ddbc49a, 0x4eb7f8719c36de1e, 0x03e7aa020c6e4141, 0x9b1f5b424d93c9a7}},
    {{0x7261445183235adb, 0x0e38dc92cb1f2a60, 0x7b2b8a9aa6079c54, 0x800a440bdbb2ceb1,
      0x3cd955b7e00d0984, 0x3a7d3a1b25894224, 0x944c9ad8ec165fde, 0x378f5a541631229b}},
    {{0x74b4c7fb98459ced, 0x3698fad1153bb6c3, 0x7a1e6c303b7652f4, 0x9fe76702af69334b,
      0x1fffe18a1b336103, 0x8941e71cff8a78db, 0x382ae548b2e4f3f3, 0xabbedea680056f52}},
    {{0x6bcaa4cd81f32d1b, 0xdea2594ac06fd85d, 0xefbacd1d7d476e98, 0x8a1d71efea48b9ca,
      0x2001802114846679, 0xd8fa6bbbebab0761, 0x3002c6cd635afe94, 0x7bcd9ed0efc889fb}},
    {{0x48bc924af11bd720, 0xfaf417d5d9b21b99, 0xe71da4aa88e12852, 0x5d80ef9d1891cc86,
      0xf82012d430219f9b, 0xcda43c32bcdf1d77, 0xd21380b00449b17a, 0x378ee767f11631ba}}};

// What the octet at each place of a word adds to the result.
using Tables = std::array<std::array<std::uint64_t, 256>, 8>;

Tables MakeTables() {
    Tables tables{};
    for (unsigned place = 0; place < 8; ++place) {
        for (unsigned octet = 0; octet < 256; ++octet) {
            for (unsigned bit = 0; bit < 8; ++bit) {
                if ((kNonlinear[octet] >> bit & 1) == 0) continue;
                tables[place][octet] ^= kMatrix[63 - (8 * place + bit)];
            }
        }
    }
    return tables;
}

const Tables& TheTables() {
    static const Tables tables = MakeTables();
    return tables;
}

inline std::uint64_t Column(const Tables& t, const Words& w, unsigned shift) {
    return t[0][w[0] >> shift & 0xFF] ^ t[1][w[1] >> shift & 0xFF] ^ t[2][w[2] >> shift & 0xFF] ^
           t[3][w[3] >> shift & 0xFF] ^ t[4][w[4] >> shift & 0xFF] ^ t[5][w[5] >> shift & 0xFF] ^
           t[6][w[6] >> shift & 0xFF] ^ t[7][w[7] >> shift & 0xFF];
}

// S, P and L of the exclusive or of both (RFC 6986, 6.2 to 6.4).
inline Words Transform(const Tables& t, const Words& a, const Words& b) {
    Words w;
    for (unsigned i = 0; i < 8; ++i) w[i] = a[i] ^ b[i];
    return {Column(t, w, 0),  Column(t, w, 8),  Column(t, w, 16), Column(t, w, 24),
            Column(t, w, 32), Column(t, w, 40), Column(t, w, 48), Column(t, w, 56)};
}

// The compression g (RFC 6986, 8).
void Compress(Words& state, const Words& count, const Words& block) {
    const Tables& t = TheTables();
    Words key = Transform(t, state, count);
    Words text = block;
    for (const Words& constant : kConstants) {
        text = Transform(t, text, key);
        key = Transform(t, key, constant);
    }
    for (unsigned i = 0; i < 8; ++i) state[i] ^= text[i] ^ key[i] ^ block[i];
}

}  // namespace

Streebog::Streebog(std::size_t size) : size_(size) {
    state_.fill(size == 32 ? 0x0101010101010101 : 0);
}

Streebog::~Streebog() {
    Wipe(state_.data(), sizeof state_);
    Wipe(sum_.data(), sizeof sum_);
    Wipe(rest_.data(), sizeof rest_);
}

void Streebog::Take(const std::uint8_t* block, std::uint64_t octets) {
    Words words;
    for (std::size_t i = 0; i < words.size(); ++i) words[i] = Load64(block + 8 * i);
    Compress(state_, count_, words);
    AddTo(count_, {octets * 8});
    AddTo(sum_, words);
}

void Streebog::Update(ByteView data) {
    if (filled_ != 0) {
        const std::size_t part = std::min(data.size(), kBlock - filled_);
        std::copy_n(data.begin(), part, rest_.begin() + static_cast<std::ptrdiff_t>(filled_));
        filled_ += part;
        data = data.subspan(part);
        if (filled_ < kBlock) return;
        Take(rest_.data(), kBlock);
    }
    for (; data.size() >= kBlock; data = data.subspan(kBlock)) Take(data.data(), kBlock);
    std::copy(data.begin(), data.end(), rest_.begin());
    filled_ = data.size();
}

Bytes Streebog::Value() const {
    Streebog last = *this;
    std::fill(last.rest_.begin() + static_cast<std::ptrdiff_t>(filled_), last.rest_.end(),
              std::uint8_t{0});
    last.rest_[filled_] = 1;
    last.Take(last.rest_.data(), filled_);
    Compress(last.state_, {}, last.count_);
    Compress(last.state_, {}, last.sum_);
    // The highest words of the state.
    Bytes value(size_);
    const std::uint64_t* word = last.state_.end() - size_ / 8;
    for (std::size_t i = 0; i < size_; i += 8) Store64(&value[i], *word++);
    return value;
}

}  // namespace platform::gost
