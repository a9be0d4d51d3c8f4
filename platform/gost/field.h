// Arithmetic modulo an odd number of 256 or 512 bits: in Montgomery's form, or by folding for
// one just below a power of two, as the primes of several parameter sets are. No step branches
// or reads memory by the value of an operand.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/gost/words.h"

#if defined(__x86_64__)
#include <immintrin.h>

#include "platform/gost/field_x86.h"
#endif

namespace platform::gost {

template <std::size_t n>
using Number = std::array<std::uint64_t, n>;  // lowest word first

// Whether the first is less than the second.
template <std::size_t n>
bool IsLess(const Number<n>& a, const Number<n>& b) {
    unsigned char borrow = 0;
    for (std::size_t i = 0; i < n; ++i) (void)SubWord(a[i], b[i], borrow);
    return borrow != 0;
}

template <std::size_t n>
bool IsZero(const Number<n>& a) {
    std::uint64_t all = 0;
    for (const std::uint64_t word : a) all |= word;
    return all == 0;
}

template <std::size_t n>
class Modulus {
  public:
    using Value = Number<n>;

    explicit Modulus(const Value& modulus) : modulus_(modulus) {
        if (IsNearPower()) {
            fold_ = 0 - modulus[0];
#if defined(__x86_64__)
            twoCarries_ = HasTwoCarries();
#endif
            one_ = square_ = {1};
            return;
        }
        // Each step doubles the number of right bits.
        inverse_ = 1;
        for (int i = 0; i < 6; ++i) inverse_ *= 2 - modulus[0] * inverse_;
        inverse_ = 0 - inverse_;
        one_ = {1};
        for (std::size_t i = 0; i < 64 * n; ++i) one_ = Add(one_, one_);
        square_ = one_;
        for (std::size_t i = 0; i < 64 * n; ++i) square_ = Add(square_, square_);
    }

    [[nodiscard]] const Value& Plain() const { return modulus_; }
    [[nodiscard]] const Value& One() const { return one_; }
    // Into the form that Mul works in, reduced, and back. Any number of n words will do.
    [[nodiscard]] Value In(const Value& a) const { return Mul(a, square_); }
    [[nodiscard]] Value Out(const Value& a) const { return Mul(a, Value{1}); }

    [[nodiscard]] Value Add(const Value& a, const Value& b) const {
#if defined(__x86_64__)
        if constexpr (n == 4) return AddModulo(a, b, modulus_);
#endif
        Value sum;
        unsigned char carry = 0;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < n; ++i) sum[i] = AddWord(a[i], b[i], carry);
        return Reduced(sum, carry);
    }

    [[nodiscard]] Value Sub(const Value& a, const Value& b) const {
#if defined(__x86_64__)
        if constexpr (n == 4) return SubModulo(a, b, modulus_);
#endif
        Value difference;
        unsigned char borrow = 0;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < n; ++i) difference[i] = SubWord(a[i], b[i], borrow);
        const std::uint64_t mask = 0 - std::uint64_t{borrow};
        unsigned char carry = 0;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < n; ++i) {
            difference[i] = AddWord(difference[i], modulus_[i] & mask, carry);
        }
        return difference;
    }

    // One factor may be any number of n words.
    [[nodiscard]] Value Mul(const Value& a, const Value& b) const {
#if defined(__x86_64__)
        if constexpr (n == 4) {
            if (twoCarries_) return MultiplyFolding(a, b, fold_);
        }
#endif
        return Reduce([&](Column& column, std::size_t i) {
#pragma GCC unroll 8
            for (std::size_t j = i < n ? 0 : i - n + 1; j <= (i < n ? i : n - 1); ++j) {
                column.Add(a[j], b[i - j]);
            }
        });
    }
    [[nodiscard]] Value Square(const Value& a) const {
#if defined(__x86_64__)
        if constexpr (n == 4) {
            if (twoCarries_) return SquareFolding(a, fold_);
        }
#endif
        return Reduce([&](Column& column, std::size_t i) {
            Column half;
#pragma GCC unroll 8
            for (std::size_t j = i < n ? 0 : i - n + 1; 2 * j < i; ++j) half.Add(a[j], a[i - j]);
            column.AddTwice(half);
            if (i % 2 == 0) column.Add(a[i / 2], a[i / 2]);
        });
    }

    // For a prime modulus: the power of it less two. Zero stays zero.
    [[nodiscard]] Value Invert(const Value& a) const {
        Value exponent = modulus_;
        exponent[0] -= 2;  // odd, and above 2
        std::array<Value, 16> powers;
        powers[0] = one_;
        for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = Mul(powers[i - 1], a);
        Value result = one_;
        for (std::size_t i = 16 * n; i-- > 0;) {
            for (int square = 0; square < 4; ++square) result = Square(result);
            result = Mul(result, powers[exponent[i / 16] >> (4 * (i % 16)) & 15]);
        }
        return result;
    }

  private:
    // The sum of a column of products.
    struct Column {
        std::uint64_t word[3]{};

        // The compiler spends twice as many instructions on the carries.
        void Add(std::uint64_t a, std::uint64_t b) {
#if defined(__x86_64__)
            std::uint64_t high;
            __asm__("mulq %[b]\n\taddq %%rax, %[w0]\n\tadcq %%rdx, %[w1]\n\tadcq $0, %[w2]"
                    : [w0] "+r"(word[0]), [w1] "+r"(word[1]), [w2] "+r"(word[2]), "+a"(a),
                      "=&d"(high)
                    : [b] "rm"(b)
                    : "cc");
#else
            const Wide product = Wide{a} * b;
            unsigned char carry = 0;
            word[0] = AddWord(word[0], static_cast<std::uint64_t>(product), carry);
            word[1] = AddWord(word[1], static_cast<std::uint64_t>(product >> 64), carry);
            word[2] += carry;
#endif
        }
        void AddTwice(const Column& half) {
            for (int time = 0; time < 2; ++time) {
                unsigned char carry = 0;
                word[0] = AddWord(word[0], half.word[0], carry);
                word[1] = AddWord(word[1], half.word[1], carry);
                word[2] = AddWord(word[2], half.word[2], carry);
            }
        }
        // The lowest word goes and the others move down.
        std::uint64_t Shift() {
            const std::uint64_t low = word[0];
            word[0] = word[1];
            word[1] = word[2];
            word[2] = 0;
            return low;
        }
    };

    // A product whose columns `add` sums up, in the form that the modulus works in.
    template <class Add>
    [[nodiscard]] Value Reduce(Add&& add) const {
        return fold_ != 0 ? ReduceFolding(add) : ReduceMontgomery(add);
    }

    // The product / 2^(64 n): with a multiple of the modulus that makes the lower half vanish.
    template <class Add>
    [[nodiscard]] Value ReduceMontgomery(Add& add) const {
        Column column;
        Value factors;
        Value product;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < n; ++i) {
            add(column, i);
#pragma GCC unroll 8
            for (std::size_t j = 0; j < i; ++j) column.Add(factors[j], modulus_[i - j]);
            factors[i] = column.word[0] * inverse_;
            column.Add(factors[i], modulus_[0]);
            (void)column.Shift();
        }
#pragma GCC unroll 8
        for (std::size_t i = n; i < 2 * n - 1; ++i) {
            add(column, i);
#pragma GCC unroll 8
            for (std::size_t j = i - n + 1; j < n; ++j) {
                column.Add(factors[j], modulus_[i - j]);
            }
            product[i - n] = column.Shift();
        }
        product[n - 1] = column.word[0];
        return Reduced(product, static_cast<unsigned char>(column.word[1]));
    }

    // The product modulo 2^(64 n) - fold: what stands above comes down by a product of one word.
    template <class Add>
    [[nodiscard]] Value ReduceFolding(Add& add) const {
        Column column;
        std::array<std::uint64_t, 2 * n> product;
#pragma GCC unroll 16
        for (std::size_t i = 0; i < 2 * n - 1; ++i) {
            add(column, i);
            product[i] = column.Shift();
        }
        product[2 * n - 1] = column.word[0];
        Value low;
        std::uint64_t above = 0;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < n; ++i) {
            const Wide word = Wide{product[n + i]} * fold_ + product[i] + above;
            low[i] = static_cast<std::uint64_t>(word);
            above = static_cast<std::uint64_t>(word >> 64);
        }
        // `above` has fewer bits than the fold squared, so one more carry is all it can make.
        unsigned char carry = 0;
        low[0] = AddWord(low[0], above * fold_, carry);
#pragma GCC unroll 8
        for (std::size_t i = 1; i < n; ++i) low[i] = AddWord(low[i], 0, carry);
        return Reduced(low, carry);
    }

    // Takes the modulus away once when `carry` or the number itself asks for it.
    [[nodiscard]] Value Reduced(const Value& a, unsigned char carry) const {
        Value less;
        unsigned char borrow = 0;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < n; ++i) less[i] = SubWord(a[i], modulus_[i], borrow);
        const std::uint64_t keep = 0 - static_cast<std::uint64_t>(borrow & ~carry & 1);
#pragma GCC unroll 8
        for (std::size_t i = 0; i < n; ++i) less[i] = (a[i] & keep) | (less[i] & ~keep);
        return less;
    }

    // 2^(64 n) less a number of at most 32 bits.
    [[nodiscard]] bool IsNearPower() const {
        for (std::size_t i = 1; i < n; ++i) {
            if (modulus_[i] != ~std::uint64_t{0}) return false;
        }
        return modulus_[0] >> 32 == 0xFFFFFFFF;
    }

    Value modulus_;
    std::uint64_t fold_ = 0;  // 0: Montgomery's form
    std::uint64_t inverse_ = 0;
    [[maybe_unused]] bool twoCarries_ = false;
    Value one_;
    Value square_;
};

}  // namespace platform::gost
