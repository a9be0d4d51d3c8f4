// Points of a curve y^2 = x^3 + a x + b in homogeneous coordinates, with the complete formulas
// of Renes, Costello and Batina (2015), algorithms 1 and 3: one road for all points whose
// difference is not of order two, as in a subgroup of odd order it never is.
#pragma once

#include "platform/gost/field.h"

namespace platform::gost {

template <std::size_t n>
struct Point {
    Number<n> x;
    Number<n> y;
    Number<n> z;
};

template <std::size_t n>
class Points {
  public:
    using Value = Number<n>;

    Points(const Value& p, const Value& a, const Value& b)
        : field_(p), a_(field_.In(a)), b_(field_.In(b)), b3_(Thrice(b_)) {
        const Value minusThree = field_.Sub(Value{}, Thrice(field_.One()));
        minusThree_ = a_ == minusThree;
    }

    [[nodiscard]] const Modulus<n>& Field() const { return field_; }
    [[nodiscard]] const Value& A() const { return a_; }
    [[nodiscard]] Point<n> Neutral() const { return {{}, field_.One(), {}}; }
    // Coordinates in Montgomery's form.
    [[nodiscard]] Point<n> Affine(const Value& x, const Value& y) const {
        return {x, y, field_.One()};
    }

    [[nodiscard]] bool OnCurve(const Value& x, const Value& y) const {
        const Value right = field_.Add(field_.Mul(field_.Add(field_.Mul(x, x), a_), x), b_);
        return field_.Mul(y, y) == right;
    }

    [[nodiscard]] Point<n> Add(const Point<n>& p, const Point<n>& q) const {
        const Modulus<n>& f = field_;
        const Value xx = f.Mul(p.x, q.x);
        const Value yy = f.Mul(p.y, q.y);
        const Value zz = f.Mul(p.z, q.z);
        const Value xy = Cross(p.x, p.y, q.x, q.y, xx, yy);
        const Value xz = Cross(p.x, p.z, q.x, q.z, xx, zz);
        const Value yz = Cross(p.y, p.z, q.y, q.z, yy, zz);
        const Value mixed = f.Add(f.Mul(b3_, zz), TimesA(xz));
        const Value low = f.Sub(yy, mixed);
        const Value high = f.Add(yy, mixed);
        const Value aZz = TimesA(zz);
        const Value slope = f.Add(Thrice(xx), aZz);
        const Value rest = f.Add(f.Mul(b3_, xz), TimesA(f.Sub(xx, aZz)));
        return {f.Sub(f.Mul(xy, low), f.Mul(yz, rest)), f.Add(f.Mul(low, high), f.Mul(slope, rest)),
                f.Add(f.Mul(yz, high), f.Mul(xy, slope))};
    }

    [[nodiscard]] Point<n> Double(const Point<n>& p) const {
        const Modulus<n>& f = field_;
        const Value xx = f.Mul(p.x, p.x);
        const Value yy = f.Mul(p.y, p.y);
        const Value zz = f.Mul(p.z, p.z);
        const Value xy = Twice(f.Mul(p.x, p.y));
        const Value xz = Twice(f.Mul(p.x, p.z));
        const Value yz = Twice(f.Mul(p.y, p.z));
        const Value mixed = f.Add(f.Mul(b3_, zz), TimesA(xz));
        const Value low = f.Sub(yy, mixed);
        const Value aZz = TimesA(zz);
        const Value rest = f.Add(f.Mul(b3_, xz), TimesA(f.Sub(xx, aZz)));
        const Value slope = f.Add(Thrice(xx), aZz);
        return {f.Sub(f.Mul(xy, low), f.Mul(yz, rest)),
                f.Add(f.Mul(low, f.Add(yy, mixed)), f.Mul(slope, rest)),
                Twice(Twice(f.Mul(yz, yy)))};
    }

  private:
    [[nodiscard]] Value Twice(const Value& a) const { return field_.Add(a, a); }
    [[nodiscard]] Value Thrice(const Value& a) const { return field_.Add(Twice(a), a); }
    // Most parameter sets have a = -3.
    [[nodiscard]] Value TimesA(const Value& v) const {
        return minusThree_ ? field_.Sub(Value{}, Thrice(v)) : field_.Mul(a_, v);
    }
    // a d + b c, given the products a c and b d.
    [[nodiscard]] Value Cross(const Value& a, const Value& b, const Value& c, const Value& d,
                              const Value& ac, const Value& bd) const {
        const Value all = field_.Mul(field_.Add(a, b), field_.Add(c, d));
        return field_.Sub(all, field_.Add(ac, bd));
    }

    Modulus<n> field_;
    Value a_;
    Value b_;
    Value b3_;
    bool minusThree_ = false;
};

}  // namespace platform::gost
