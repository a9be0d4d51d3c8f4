// Keys, signatures and key agreement of GOST R 34.10.
#include "platform/gost/curve.h"

#include <openssl/rand.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/base/error.h"
#include "platform/gost/curve_table.h"
#include "platform/gost/jacobian.h"
#include "platform/gost/points.h"
#include "platform/gost/stack.h"
#include "platform/gost/words.h"

namespace platform::gost {
namespace {

template <std::size_t n>
Number<n> FromHex(std::string_view digits) {
    Number<n> number{};
    for (const char c : digits) {
        for (std::size_t i = n; i-- > 1;) number[i] = number[i] << 4 | number[i - 1] >> 60;
        const unsigned digit = static_cast<unsigned>(c <= '9' ? c - '0' : c - 'A' + 10);
        number[0] = number[0] << 4 | digit;
    }
    return number;
}

// A number that wipes itself.
template <std::size_t n>
struct Hidden {
    Number<n> value{};
    ~Hidden() { Wipe(value.data(), sizeof value); }
};

constexpr unsigned kWindow = 4;
constexpr std::size_t kRow = std::size_t{1} << kWindow;

// The base point's scalar goes in odd digits of either sign, of 5 bits each; this many share
// one table.
constexpr unsigned kBaseWindow = 5;
constexpr std::size_t kOddRow = std::size_t{1} << (kBaseWindow - 1);
constexpr std::size_t kShared = 4;

template <std::size_t n>
class CurveOf : public Curve {
  public:
    explicit CurveOf(const CurveRow& row)
        : Curve(8 * n),
          points_(FromHex<n>(row.p), FromHex<n>(row.a), FromHex<n>(row.b)),
          order_(FromHex<n>(row.q)),
          cofactorBits_(row.cofactorBits),
          fast_(points_.Field(), points_.A()),
          base_(points_.Affine(Field().In(FromHex<n>(row.x)), Field().In(FromHex<n>(row.y)))) {}
    CurveOf(const CurveOf&) = delete;
    CurveOf& operator=(const CurveOf&) = delete;

    [[nodiscard]] bool IsPrivate(ByteView key) const override {
        return OnWipedStack([&] {
            Hidden<n> number;
            return Read(key, number.value);
        });
    }

    [[nodiscard]] bool IsPublic(ByteView key) const override {
        Point<n> point;
        return LoadPoint(key, point) && IsInGroup(point);
    }

    [[nodiscard]] Secret NewPrivate() const override {
        return OnWipedStack([&] {
            Hidden<n> number;
            NewScalar(number.value);
            return SecretOf(number.value);
        });
    }

    [[nodiscard]] Bytes PublicOf(ByteView privateKey) const override {
        return OnWipedStack([&] {
            Hidden<n> number;
            LoadPrivate(privateKey, number.value);
            return StorePoint(Homogeneous(TimesBase(number.value)));
        });
    }

    [[nodiscard]] Bytes Sign(ByteView privateKey, ByteView digest) const override {
        if (digest.size() != Size()) throw Error(NTE_BAD_LEN);
        return OnWipedStack([&] {
            Hidden<n> key;
            LoadPrivate(privateKey, key.value);
            key.value = order_.In(key.value);
            const Value e = order_.In(DigestNumber(digest));
            Hidden<n> once;
            Value r;
            Value s;
            do {
                NewScalar(once.value);
                r = ReducedX(Homogeneous(TimesBase(once.value)));
                once.value = order_.In(once.value);
                s = order_.Out(
                    order_.Add(order_.Mul(order_.In(r), key.value), order_.Mul(once.value, e)));
            } while (IsZero(r) || IsZero(s));
            Bytes signature = Store(s, r);
            std::reverse(signature.begin(), signature.begin() + Half());
            std::reverse(signature.begin() + Half(), signature.end());
            return signature;
        });
    }

    [[nodiscard]] bool Verify(ByteView publicKey, ByteView digest,
                              ByteView signature) const override {
        Point<n> key;
        if (digest.size() != Size() || signature.size() != 2 * Size()) return false;
        if (!LoadPoint(publicKey, key)) return false;
        Bytes turned(signature.rbegin(), signature.rend());
        Value r;
        Value s;
        Load(ByteView(turned).first(Size()), r);
        Load(ByteView(turned).last(Size()), s);
        if (!InRange(r) || !InRange(s)) return false;
        const Value v = order_.In(InversePublic(DigestNumber(digest)));
        const Value z1 = order_.Out(order_.Mul(order_.In(s), v));
        const Value z2 = order_.Out(order_.Sub(Value{}, order_.Mul(order_.In(r), v)));
        const JacobianPoint<n> sum = SumPublic(z1, key, z2);
        return !IsZero(sum.z) && HasX(sum, r);
    }

    [[nodiscard]] Secret Agree(ByteView privateKey, ByteView publicKey,
                               ByteView ukm) const override {
        return OnWipedStack([&] {
            Hidden<n> key;
            LoadPrivate(privateKey, key.value);
            Point<n> point;
            if (!LoadPoint(publicKey, point)) throw Error(NTE_BAD_DATA);
            if (ukm.size() > Size()) throw Error(NTE_BAD_LEN);
            Bytes material = Copy(ukm);
            material.resize(Size());
            Value factor;
            Load(material, factor);
            key.value = order_.Out(order_.Mul(order_.In(factor), order_.In(key.value)));
            // First the cofactor: what is left lies in the subgroup of prime order.
            for (unsigned i = 0; i < cofactorBits_; ++i) point = points_.Double(point);
            const Point<n> shared = TimesSecret(point, key.value);
            if (IsZero(shared.z)) throw Error(NTE_BAD_DATA);
            Bytes octets = StorePoint(shared);
            Secret secret{ByteView(octets)};
            Wipe(octets);
            return secret;
        });
    }

    [[nodiscard]] Secret Unmask(ByteView parts) const override {
        if (parts.empty() || parts.size() % Size() != 0) throw Error(NTE_BAD_KEY);
        if (parts.size() > kMostParts * Size()) throw Error(NTE_BAD_KEY);
        if (parts.size() == Size() && !IsPrivate(parts)) throw Error(NTE_BAD_KEY);
        return OnWipedStack([&] {
            Hidden<n> product;
            Hidden<n> part;
            product.value = order_.One();
            for (; !parts.empty(); parts = parts.subspan(Size())) {
                Load(parts.first(Size()), part.value);
                product.value = order_.Mul(product.value, order_.In(part.value));
            }
            product.value = order_.Out(product.value);
            if (IsZero(product.value)) throw Error(NTE_BAD_KEY);
            return SecretOf(product.value);
        });
    }

  private:
    // What masks a key has one part more than masks, and one mask is the rule.
    static constexpr std::size_t kMostParts = 16;

    using Value = Number<n>;
    using Table = std::array<Point<n>, kRow>;
    using OddTable = std::array<AffinePoint<n>, kOddRow>;

    [[nodiscard]] const Modulus<n>& Field() const { return points_.Field(); }
    [[nodiscard]] std::ptrdiff_t Half() const { return static_cast<std::ptrdiff_t>(Size()); }

    // Of n words exactly.
    static void Load(ByteView octets, Value& number) {
        for (std::size_t i = 0; i < n; ++i) number[i] = Load64(&octets[8 * i]);
    }

    static Bytes Store(const Value& first, const Value& second) {
        Bytes octets(16 * n);
        for (std::size_t i = 0; i < n; ++i) {
            Store64(&octets[8 * i], first[i]);
            Store64(&octets[8 * (n + i)], second[i]);
        }
        return octets;
    }

    static Secret SecretOf(const Value& number) {
        std::uint8_t octets[8 * n];
        for (std::size_t i = 0; i < n; ++i) Store64(octets + 8 * i, number[i]);
        Secret secret{ByteView(octets, sizeof octets)};
        Wipe(octets, sizeof octets);
        return secret;
    }

    [[nodiscard]] bool InRange(const Value& scalar) const {
        return IsLess(scalar, order_.Plain()) && !IsZero(scalar);
    }

    bool Read(ByteView key, Value& number) const {
        if (key.size() != Size()) return false;
        Load(key, number);
        return InRange(number);
    }

    void LoadPrivate(ByteView key, Value& number) const {
        if (!Read(key, number)) throw Error(NTE_BAD_KEY);
    }

    bool LoadPoint(ByteView key, Point<n>& point) const {
        if (key.size() != 2 * Size()) return false;
        Value x;
        Value y;
        Load(key.first(Size()), x);
        Load(key.last(Size()), y);
        const Value& p = Field().Plain();
        if (!IsLess(x, p) || !IsLess(y, p)) return false;
        point = points_.Affine(Field().In(x), Field().In(y));
        return points_.OnCurve(point.x, point.y);
    }

    // Whether a point of the curve lies in the subgroup that the base point generates.
    [[nodiscard]] bool IsInGroup(const Point<n>& point) const {
        return cofactorBits_ == 0 || IsZero(SumPublic({}, point, order_.Plain()).z);
    }

    [[nodiscard]] Bytes StorePoint(const Point<n>& point) const {
        const Value inverse = Field().Invert(point.z);
        return Store(Field().Out(Field().Mul(point.x, inverse)),
                     Field().Out(Field().Mul(point.y, inverse)));
    }

    // The x of a point as a number below the order.
    [[nodiscard]] Value ReducedX(const Point<n>& point) const {
        const Value x = Field().Out(Field().Mul(point.x, Field().Invert(point.z)));
        return order_.Out(order_.In(x));
    }

    [[nodiscard]] Point<n> Homogeneous(const JacobianPoint<n>& p) const {
        return {Field().Mul(p.x, p.z), p.y, Field().Mul(p.z, Field().Square(p.z))};
    }

    // Whether the point's x is r modulo the order.
    [[nodiscard]] bool HasX(const JacobianPoint<n>& point, Value r) const {
        const Value zz = Field().Square(point.z);
        unsigned char carry = 0;
        while (carry == 0 && IsLess(r, Field().Plain())) {
            if (Field().Mul(Field().In(r), zz) == point.x) return true;
            for (std::size_t i = 0; i < n; ++i) r[i] = AddWord(r[i], order_.Plain()[i], carry);
        }
        return false;
    }

    void NewScalar(Value& scalar) const {
        const Value& q = order_.Plain();
        // The highest word's bits above the order's are cut, so that half the tries fit.
        std::uint64_t mask = q[n - 1];
        for (unsigned shift = 1; shift < 64; shift *= 2) mask |= mask >> shift;
        do {
            if (RAND_priv_bytes(reinterpret_cast<unsigned char*>(scalar.data()), 8 * n) != 1) {
                throw Error(NTE_FAIL);
            }
            scalar[n - 1] &= mask;
        } while (!InRange(scalar));
    }

    // Zero counts as one (RFC 7091, 6.1).
    [[nodiscard]] Value DigestNumber(ByteView digest) const {
        Value e;
        Load(digest, e);
        e = order_.Out(order_.In(e));
        return IsZero(e) ? Value{1} : e;
    }

    // Of a number below the order and not zero that everybody knows: by division, three times as
    // fast as a power. The order is in Montgomery's form, none being near a power of two.
    [[nodiscard]] Value InversePublic(const Value& number) const {
        // number * up = 2^twos * right and -number * down = 2^twos * left, modulo the order
        // (Kaliski 1995); up and down never pass the order.
        Value left = order_.Plain();
        Value right = number;
        Value down{};
        Value up{1};
        std::size_t twos = MakeOdd(right, down);
        while (left != right) {
            if (IsLess(right, left)) {
                AddTo(down, up);
                Decrease(left, right);
                twos += MakeOdd(left, up);
            } else {
                AddTo(up, down);
                Decrease(right, left);
                twos += MakeOdd(right, down);
            }
        }
        for (; twos >= 64 * n; twos -= 64 * n) up = order_.Out(up);
        if (twos == 0) return up;
        Value power{};
        power[(64 * n - twos) / 64] = std::uint64_t{1} << (64 * n - twos) % 64;
        return order_.Mul(up, power);
    }

    static void Decrease(Value& number, const Value& other) {
        unsigned char borrow = 0;
        for (std::size_t i = 0; i < n; ++i) number[i] = SubWord(number[i], other[i], borrow);
    }

    // Takes the twos out of a number that is not zero and multiplies `other` by them; how many.
    static std::size_t MakeOdd(Value& number, Value& other) {
        std::size_t all = 0;
        while ((number[0] & 1) == 0) {
            const int twos = std::min(std::countr_zero(number[0]), 63);
            all += static_cast<std::size_t>(twos);
            for (std::size_t i = 0; i + 1 < n; ++i) {
                number[i] = number[i] >> twos | number[i + 1] << (64 - twos);
            }
            number[n - 1] >>= twos;
            for (std::size_t i = n - 1; i > 0; --i) {
                other[i] = other[i] << twos | other[i - 1] >> (64 - twos);
            }
            other[0] <<= twos;
        }
        return all;
    }

    // Reads every entry, whichever is meant.
    static Point<n> Pick(const Table& table, std::uint64_t digit) {
        Point<n> picked{};
        for (std::uint64_t i = 0; i < kRow; ++i) {
            const std::uint64_t mask = ((i ^ digit) - 1) >> 63 == 0 ? 0 : ~std::uint64_t{0};
            for (std::size_t word = 0; word < n; ++word) {
                picked.x[word] |= table[i].x[word] & mask;
                picked.y[word] |= table[i].y[word] & mask;
                picked.z[word] |= table[i].z[word] & mask;
            }
        }
        return picked;
    }

    static std::uint64_t Digit(const Value& scalar, std::size_t index) {
        return scalar[index / 16] >> (kWindow * (index % 16)) & (kRow - 1);
    }

    // 0 to 15 times a point.
    [[nodiscard]] Table Multiples(const Point<n>& point) const {
        Table table;
        table[0] = points_.Neutral();
        for (std::size_t i = 1; i < kRow; ++i) table[i] = points_.Add(table[i - 1], point);
        return table;
    }

    void DoubleFour(Point<n>& point) const {
        for (unsigned i = 0; i < kWindow; ++i) point = points_.Double(point);
    }

    [[nodiscard]] Point<n> TimesSecret(const Point<n>& point, const Value& scalar) const {
        const Table table = Multiples(point);
        Point<n> sum = points_.Neutral();
        for (std::size_t i = 16 * n; i-- > 0;) {
            DoubleFour(sum);
            sum = points_.Add(sum, Pick(table, Digit(scalar, i)));
        }
        return sum;
    }

    static unsigned Bits(const Value& scalar, std::size_t at, unsigned count) {
        if (at >= 64 * n) return 0;
        std::uint64_t word = scalar[at / 64] >> (at % 64);
        if (at % 64 != 0 && at / 64 + 1 < n) word |= scalar[at / 64 + 1] << (64 - at % 64);
        return static_cast<unsigned>(word & ((1U << count) - 1));
    }

    using Digits = std::array<std::int8_t, 64 * n + 1>;

    // Odd digits of either sign and at most `width` bits, with width - 1 zeros at least behind
    // each.
    static Digits SparseDigits(const Value& scalar, unsigned width) {
        Digits digits{};
        int carry = 0;
        for (std::size_t at = 0; at < digits.size();) {
            if (static_cast<int>(Bits(scalar, at, 1)) == carry) {
                ++at;
                continue;
            }
            const int digit = static_cast<int>(Bits(scalar, at, width)) + carry;
            carry = digit >> (width - 1) & 1;
            digits[at] = static_cast<std::int8_t>(digit - (carry << width));
            at += width;
        }
        return digits;
    }

    // Adds the digit's multiple out of a table of odd ones.
    template <class Odd>
    void AddDigit(JacobianPoint<n>& sum, const Odd& odd, int digit) const {
        auto term = odd[static_cast<std::size_t>(digit < 0 ? -digit : digit) / 2];
        if (digit < 0) term.y = Field().Sub(Value{}, term.y);
        sum = fast_.AddPublic(sum, term);
    }

    // The sum of a multiple of the base point and one of `point`, by scalars that everybody knows:
    // both share the doublings.
    [[nodiscard]] JacobianPoint<n> SumPublic(const Value& ofBase, const Point<n>& point,
                                             const Value& ofPoint) const {
        std::array<JacobianPoint<n>, 8> odd;
        odd[0] = {point.x, point.y, Field().One()};
        const JacobianPoint<n> twice = fast_.Doubled(odd[0]);
        for (std::size_t i = 1; i < odd.size(); ++i) odd[i] = fast_.AddPublic(odd[i - 1], twice);
        const Digits digits = SparseDigits(ofPoint, 5);
        const Digits baseDigits = SparseDigits(ofBase, kBaseWindow + 1);
        const std::vector<OddTable>& tables = BaseTables();
        constexpr std::size_t kWeight = kBaseWindow * kShared;
        JacobianPoint<n> sum{};
        unsigned doublings = 0;
        const auto add = [&](const auto& table, int digit) {
            if (digit == 0) return;
            if (doublings != 0) fast_.Double(sum, doublings);
            doublings = 0;
            AddDigit(sum, table, digit);
        };
        for (std::size_t i = digits.size(); i-- > 0;) {
            ++doublings;
            add(odd, digits[i]);
            for (std::size_t at = i; i < kWeight && at < digits.size(); at += kWeight) {
                add(tables[at / kWeight], baseDigits[at]);
            }
        }
        fast_.Double(sum, doublings);
        return sum;
    }

    // The odd multiples 1 to 31 of the base point, by the weight of each fourth digit: four
    // digits share their doublings with all others.
    const std::vector<OddTable>& BaseTables() const {
        if (!baseTables_.empty()) return baseTables_;
        std::vector<JacobianPoint<n>> points;
        JacobianPoint<n> odd{base_.x, base_.y, base_.z};
        for (std::size_t bits = 0; bits < 64 * n; bits += kBaseWindow * kShared) {
            const JacobianPoint<n> twice = fast_.Doubled(odd);
            JacobianPoint<n> next = odd;
            for (std::size_t i = 0; i < kOddRow; ++i) {
                points.push_back(next);
                next = fast_.AddPublic(next, twice);
            }
            fast_.Double(odd, kBaseWindow * kShared);
        }
        return baseTables_ = ToAffine(points);
    }

    // With one inversion: of the product of all z.
    [[nodiscard]] std::vector<OddTable> ToAffine(
        const std::vector<JacobianPoint<n>>& points) const {
        std::vector<Value> products{Field().One()};
        for (const auto& point : points) products.push_back(Field().Mul(products.back(), point.z));
        Value inverse = Field().Invert(products.back());
        std::vector<OddTable> tables(points.size() / kOddRow);
        for (std::size_t i = points.size(); i-- > 0;) {
            const Value one = Field().Mul(inverse, products[i]);
            const Value square = Field().Square(one);
            inverse = Field().Mul(inverse, points[i].z);
            tables[i / kOddRow][i % kOddRow] = {Field().Mul(points[i].x, square),
                                                Field().Mul(points[i].y, Field().Mul(one, square))};
        }
        return tables;
    }

    // `first` where the mask is all ones, `second` where it is zero.
    static Value Choose(std::uint64_t mask, const Value& first, const Value& second) {
        Value chosen;
        for (std::size_t i = 0; i < n; ++i) chosen[i] = (first[i] & mask) | (second[i] & ~mask);
        return chosen;
    }

    // Reads every entry, whichever is meant. `digit` is odd, between -31 and 31, plus 32.
    [[nodiscard]] AffinePoint<n> PickOdd(const OddTable& table, std::uint64_t digit) const {
        const std::uint64_t negative = (digit >> kBaseWindow & 1) - 1;
        const std::uint64_t entry = ((digit ^ negative) & (2 * kOddRow - 1)) >> 1;
        // Two words at a time: this is a sixth of all the work of a signature.
        using Pair = std::uint64_t __attribute__((vector_size(16)));
        std::array<Pair, n> sum{};
        for (std::uint64_t i = 0; i < kOddRow; ++i) {
            const std::uint64_t mask = 0 - (((i ^ entry) - 1) >> 63);
            const Pair both{mask, mask};
            std::array<Pair, n> words;
            std::memcpy(words.data(), &table[i], sizeof words);
#pragma GCC unroll 8
            for (std::size_t word = 0; word < n; ++word) sum[word] |= words[word] & both;
        }
        AffinePoint<n> picked;
        std::memcpy(&picked, sum.data(), sizeof picked);
        picked.y = Choose(negative, Field().Sub(Value{}, picked.y), picked.y);
        return picked;
    }

    // The scalar is odd. Its digit at a place is made of that place's bits and the next one.
    [[nodiscard]] JacobianPoint<n> TimesBaseOdd(const Value& scalar) const {
        const std::vector<OddTable>& tables = BaseTables();
        const std::size_t last = kShared * tables.size() - 1;
        JacobianPoint<n> sum{};
        for (std::size_t j = kShared; j-- > 0;) {
            if (j + 1 < kShared) fast_.Double(sum, kBaseWindow);
            for (std::size_t i = 0; i < tables.size(); ++i) {
                const std::size_t place = kShared * i + j;
                std::uint64_t digit = Bits(scalar, kBaseWindow * place, kBaseWindow + 1) | 1;
                if (place == last) digit += 2 * kOddRow;
                const AffinePoint<n> term = PickOdd(tables[i], digit);
                const bool first = i == 0 && j + 1 == kShared;
                sum = first ? JacobianPoint<n>{term.x, term.y, Field().One()}
                            : fast_.AddMixed(sum, term);
            }
        }
        return sum;
    }

    [[nodiscard]] JacobianPoint<n> TimesBase(const Value& scalar) const {
        const std::uint64_t even = (scalar[0] & 1) - 1;
        Hidden<n> odd;
        unsigned char borrow = 0;
        for (std::size_t i = 0; i < n; ++i) {
            odd.value[i] = SubWord(order_.Plain()[i], scalar[i], borrow);
        }
        odd.value = Choose(even, odd.value, scalar);
        JacobianPoint<n> point = TimesBaseOdd(odd.value);
        point.y = Choose(even, Field().Sub(Value{}, point.y), point.y);
        if (!IsZero(point.z)) return point;
        // Two equal points met on the way, once in more tries than anybody makes.
        const Point<n> slow = TimesSecret(base_, scalar);
        return {Field().Mul(slow.x, slow.z), Field().Mul(slow.y, Field().Square(slow.z)), slow.z};
    }

    Points<n> points_;
    Modulus<n> order_;
    unsigned cofactorBits_;
    Jacobian<n> fast_;
    Point<n> base_;
    mutable std::vector<OddTable> baseTables_;
};

std::unique_ptr<const Curve> NewCurve(const CurveRow& row) {
    if (row.p.size() > 64) return std::make_unique<CurveOf<8>>(row);
    return std::make_unique<CurveOf<4>>(row);
}

}  // namespace

const Curve* Curve::Find(std::string_view oid) {
    static std::vector<std::pair<std::string_view, std::unique_ptr<const Curve>>> made;
    const CurveRow* row = FindCurveRow(oid);
    if (row == nullptr) return nullptr;
    for (const auto& [set, curve] : made) {
        if (set == row->oid) return curve.get();
    }
    made.emplace_back(row->oid, NewCurve(*row));
    return made.back().second.get();
}

}  // namespace platform::gost
