// The fast road over a curve y^2 = x^3 + a x + b: Jacobian coordinates, x / z^2 and y / z^3, with
// the coefficient a in the doublings alone. A sum of equal or opposite points, or with the
// point at infinity, has z = 0 here and stays so: AddMixed takes the same steps for all points,
// and whoever uses it looks at z at the end. AddPublic is for what everybody may see.
#pragma once

#include "platform/gost/field.h"

namespace platform::gost {

template <std::size_t n>
struct JacobianPoint {
    Number<n> x;
    Number<n> y;
    Number<n> z;  // zero: at infinity
};
template <std::size_t n>
struct AffinePoint {
    Number<n> x;
    Number<n> y;
};

template <std::size_t n>
class Jacobian {
  public:
    using Value = Number<n>;
    using Point = JacobianPoint<n>;

    // Both live as long as this; `a` in the field's form.
    Jacobian(const Modulus<n>& field, const Value& a) : f_(field), a_(a) {}

    // 2^times times the point. The multiple of z^4 goes along (Cohen, Miyaji, Ono 1998).
    void Double(Point& p, unsigned times) const {
        Value w = f_.Mul(a_, f_.Square(f_.Square(p.z)));
        for (unsigned i = 0; i < times; ++i) {
            const Value yy = Twice(f_.Square(p.y));
            const Value s = Twice(f_.Mul(p.x, yy));
            const Value xx = f_.Square(p.x);
            const Value m = f_.Add(f_.Add(Twice(xx), xx), w);
            const Value u = Twice(f_.Square(yy));
            p.z = Twice(f_.Mul(p.y, p.z));
            p.x = f_.Sub(f_.Square(m), Twice(s));
            p.y = f_.Sub(f_.Mul(m, f_.Sub(s, p.x)), u);
            if (i + 1 < times) w = Twice(f_.Mul(u, w));
        }
    }

    [[nodiscard]] Point AddMixed(const Point& p, const AffinePoint<n>& q) const {
        const Value zz = f_.Square(p.z);
        const Value h = f_.Sub(f_.Mul(q.x, zz), p.x);
        const Value r = f_.Sub(f_.Mul(q.y, f_.Mul(p.z, zz)), p.y);
        return Sum(p.x, p.y, f_.Mul(p.z, h), h, r);
    }

    // Any two points.
    [[nodiscard]] Point AddPublic(const Point& p, const Point& q) const {
        if (IsZero(p.z)) return q;
        if (IsZero(q.z)) return p;
        const Value pzz = f_.Square(p.z);
        const Value qzz = f_.Square(q.z);
        const Value x = f_.Mul(p.x, qzz);
        const Value y = f_.Mul(p.y, f_.Mul(q.z, qzz));
        const Value h = f_.Sub(f_.Mul(q.x, pzz), x);
        const Value r = f_.Sub(f_.Mul(q.y, f_.Mul(p.z, pzz)), y);
        if (IsZero(h)) return IsZero(r) ? Doubled(p) : Point{};
        return Sum(x, y, f_.Mul(f_.Mul(p.z, q.z), h), h, r);
    }
    [[nodiscard]] Point AddPublic(const Point& p, const AffinePoint<n>& q) const {
        const Point sum = AddMixed(p, q);
        return IsZero(sum.z) ? AddPublic(p, Point{q.x, q.y, f_.One()}) : sum;
    }

    [[nodiscard]] Point Doubled(Point p) const {
        Double(p, 1);
        return p;
    }

  private:
    [[nodiscard]] Value Twice(const Value& v) const { return f_.Add(v, v); }
    [[nodiscard]] Point Sum(const Value& x, const Value& y, const Value& z, const Value& h,
                            const Value& r) const {
        const Value hh = f_.Square(h);
        const Value hhh = f_.Mul(h, hh);
        const Value v = f_.Mul(x, hh);
        Point sum;
        sum.x = f_.Sub(f_.Sub(f_.Square(r), hhh), Twice(v));
        sum.y = f_.Sub(f_.Mul(r, f_.Sub(v, sum.x)), f_.Mul(y, hhh));
        sum.z = z;
        return sum;
    }

    const Modulus<n>& f_;
    const Value& a_;
};

}  // namespace platform::gost
