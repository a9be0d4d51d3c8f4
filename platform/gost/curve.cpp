// Keys, signatures and key agreement of GOST R 34.10.
#include "platform/gost/curve.h"

#include <openssl/rand.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/base/error.h"
#include "platform/gost/curve_table.h"
#include "platform/gost/points.h"
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

template <std::size_t n>
class CurveOf : public Curve {
  public:
    explicit CurveOf(const CurveRow& row)
        : Curve(8 * n),
          points_(FromHex<n>(row.p), FromHex<n>(row.a), FromHex<n>(row.b)),
          order_(FromHex<n>(row.q)),
          cofactorBits_(row.cofactorBits),
          base_(points_.Affine(Field().In(FromHex<n>(row.x)), Field().In(FromHex<n>(row.y)))) {}

    [[nodiscard]] bool IsPrivate(ByteView key) const override {
        Hidden<n> number;
        return Read(key, number.value);
    }

    [[nodiscard]] bool IsPublic(ByteView key) const override {
        Point<n> point;
        return LoadPoint(key, point);
    }

    [[nodiscard]] Secret NewPrivate() const override {
        Hidden<n> number;
        NewScalar(number.value);
        return SecretOf(number.value);
    }

    [[nodiscard]] Bytes PublicOf(ByteView privateKey) const override {
        Hidden<n> number;
        LoadPrivate(privateKey, number.value);
        return StorePoint(TimesBase(number.value));
    }

    [[nodiscard]] Bytes Sign(ByteView privateKey, ByteView digest) const override {
        if (digest.size() != Size()) throw Error(NTE_BAD_LEN);
        Hidden<n> key;
        LoadPrivate(privateKey, key.value);
        key.value = order_.In(key.value);
        const Value e = order_.In(DigestNumber(digest));
        Hidden<n> once;
        Value r;
        Value s;
        do {
            NewScalar(once.value);
            r = ReducedX(TimesBase(once.value));
            once.value = order_.In(once.value);
            s = order_.Out(
                order_.Add(order_.Mul(order_.In(r), key.value), order_.Mul(once.value, e)));
        } while (IsZero(r) || IsZero(s));
        Bytes signature = Store(s, r);
        std::reverse(signature.begin(), signature.begin() + Half());
        std::reverse(signature.begin() + Half(), signature.end());
        return signature;
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
        const Value v = order_.Invert(order_.In(DigestNumber(digest)));
        const Value z1 = order_.Out(order_.Mul(order_.In(s), v));
        const Value z2 = order_.Out(order_.Sub(Value{}, order_.Mul(order_.In(r), v)));
        const Point<n> sum = points_.Add(TimesBase(z1), TimesPublic(key, z2));
        return !IsZero(sum.z) && ReducedX(sum) == r;
    }

    [[nodiscard]] Secret Agree(ByteView privateKey, ByteView publicKey,
                               ByteView ukm) const override {
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
        Point<n> shared = TimesSecret(point, key.value);
        if (IsZero(shared.z)) throw Error(NTE_BAD_DATA);
        Bytes octets = StorePoint(shared);
        Wipe(&shared, sizeof shared);
        Secret secret{ByteView(octets)};
        Wipe(octets);
        return secret;
    }

    [[nodiscard]] Secret Unmask(ByteView parts) const override {
        if (parts.empty() || parts.size() % Size() != 0) throw Error(NTE_BAD_KEY);
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
    }

  private:
    using Value = Number<n>;
    using Table = std::array<Point<n>, kRow>;

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

    // The same for a scalar that is known to everybody.
    [[nodiscard]] Point<n> TimesPublic(const Point<n>& point, const Value& scalar) const {
        const Table table = Multiples(point);
        Point<n> sum = points_.Neutral();
        for (std::size_t i = 16 * n; i-- > 0;) {
            DoubleFour(sum);
            const std::uint64_t digit = Digit(scalar, i);
            if (digit != 0) sum = points_.Add(sum, table[digit]);
        }
        return sum;
    }

    // Tables of the base point's multiples by each fourth digit's weight: four digits share
    // their doublings with all others.
    const std::vector<Table>& BaseTables() const {
        if (baseTables_.empty()) {
            Point<n> point = base_;
            for (std::size_t i = 0; i < 4 * n; ++i) {
                baseTables_.push_back(Multiples(point));
                for (unsigned j = 0; j < 4; ++j) DoubleFour(point);
            }
        }
        return baseTables_;
    }

    [[nodiscard]] Point<n> TimesBase(const Value& scalar) const {
        const std::vector<Table>& tables = BaseTables();
        Point<n> sum = points_.Neutral();
        for (std::size_t j = 4; j-- > 0;) {
            DoubleFour(sum);
            for (std::size_t i = 0; i < tables.size(); ++i) {
                sum = points_.Add(sum, Pick(tables[i], Digit(scalar, 4 * i + j)));
            }
        }
        return sum;
    }

    Points<n> points_;
    Modulus<n> order_;
    unsigned cofactorBits_;
    Point<n> base_;
    mutable std::vector<Table> baseTables_;
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
