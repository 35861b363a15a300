#include "foundation/maths.h"

#include <cmath>
#include <utility>

#include "foundation/numbers.h"

namespace corvane {
namespace {

// Element-wise helpers so that each public operation is one line per type.
template <class F>
Vector2 each(const Vector2& a, F f) { return {f(a.x), f(a.y)}; }
template <class F>
Vector3 each(const Vector3& a, F f) { return {f(a.x), f(a.y), f(a.z)}; }
template <class F>
Vector4 each(const Vector4& a, F f) { return {f(a.x), f(a.y), f(a.z), f(a.w)}; }
template <class F>
Vector2 each(const Vector2& a, const Vector2& b, F f) { return {f(a.x, b.x), f(a.y, b.y)}; }
template <class F>
Vector3 each(const Vector3& a, const Vector3& b, F f) { return {f(a.x, b.x), f(a.y, b.y), f(a.z, b.z)}; }
template <class F>
Vector4 each(const Vector4& a, const Vector4& b, F f) {
    return {f(a.x, b.x), f(a.y, b.y), f(a.z, b.z), f(a.w, b.w)};
}

constexpr auto plus = [](double a, double b) { return a + b; };
constexpr auto minus = [](double a, double b) { return a - b; };
constexpr auto times = [](double a, double b) { return a * b; };
constexpr auto quotient = [](double a, double b) { return b == 0 ? 0.0 : a / b; };
constexpr auto raise = [](double a, double b) { return std::pow(a, b); };

// A NaN from sqrt or acos counts as a failure and gives 0.
double failedToZero(double value) { return std::isnan(value) ? 0.0 : value; }
double safeSqrt(double value) { return failedToZero(std::sqrt(value)); }
double safeAcos(double value) { return failedToZero(std::acos(value)); }

double lengthFromSquares(double squares) { return failedToZero(std::sqrt(std::abs(squares))); }

template <class V>
V scaleReciprocalOf(const V& v, double divisor) {
    if (divisor == 0) return V{};
    return each(v, [divisor](double c) { return c / divisor; });
}

template <class V>
V normaliseOf(const V& v) {
    return scaleReciprocalOf(v, length(v));
}

template <class V>
double angleOf(const V& a, const V& b) {
    const double lengths = length(a) * length(b);
    if (lengths == 0) return 0;
    return safeAcos(dot(a, b) / lengths);
}

double determinant3(double a0, double a1, double a2, double b0, double b1, double b2, double c0, double c1,
                    double c2) {
    return a0 * (b1 * c2 - b2 * c1) - a1 * (b0 * c2 - b2 * c0) + a2 * (b0 * c1 - b1 * c0);
}

// Quaternion components by their own names; see the mapping in maths.h.
struct Quaternion {
    double w, x, y, z;
};
Quaternion unpack(const Vector4& q) { return {q.x, q.y, q.z, q.w}; }
Vector4 pack(const Quaternion& q) { return {q.w, q.x, q.y, q.z}; }

}  // namespace

// ---- Reals -----------------------------------------------------------------

double clampReal(double value, double lower, double upper) {
    // Comparisons with NaN are false, so NaN falls through unchanged.
    if (value < lower) return lower;
    if (value > upper) return upper;
    return value;
}

bool between(double value, double lower, double upper) { return lower <= value && value <= upper; }

double minReal(double a, double b) { return b < a ? b : a; }
double maxReal(double a, double b) { return b > a ? b : a; }

double signTransfer(double a, double b) { return b >= 0 ? std::abs(a) : -std::abs(a); }

// ---- Vectors -----------------------------------------------------------------

Vector2 add(const Vector2& a, const Vector2& b) { return each(a, b, plus); }
Vector3 add(const Vector3& a, const Vector3& b) { return each(a, b, plus); }
Vector4 add(const Vector4& a, const Vector4& b) { return each(a, b, plus); }
Vector2 subtract(const Vector2& a, const Vector2& b) { return each(a, b, minus); }
Vector3 subtract(const Vector3& a, const Vector3& b) { return each(a, b, minus); }
Vector4 subtract(const Vector4& a, const Vector4& b) { return each(a, b, minus); }
Vector2 multiply(const Vector2& a, const Vector2& b) { return each(a, b, times); }
Vector3 multiply(const Vector3& a, const Vector3& b) { return each(a, b, times); }
Vector4 multiply(const Vector4& a, const Vector4& b) { return each(a, b, times); }
Vector2 divide(const Vector2& a, const Vector2& b) { return each(a, b, quotient); }
Vector3 divide(const Vector3& a, const Vector3& b) { return each(a, b, quotient); }
Vector4 divide(const Vector4& a, const Vector4& b) { return each(a, b, quotient); }

Vector2 scale(const Vector2& v, double f) { return each(v, [f](double c) { return c * f; }); }
Vector3 scale(const Vector3& v, double f) { return each(v, [f](double c) { return c * f; }); }
Vector4 scale(const Vector4& v, double f) { return each(v, [f](double c) { return c * f; }); }
Vector2 scaleReciprocal(const Vector2& v, double divisor) { return scaleReciprocalOf(v, divisor); }
Vector3 scaleReciprocal(const Vector3& v, double divisor) { return scaleReciprocalOf(v, divisor); }
Vector4 scaleReciprocal(const Vector4& v, double divisor) { return scaleReciprocalOf(v, divisor); }
Vector2 negate(const Vector2& v) { return each(v, [](double c) { return -c; }); }
Vector3 negate(const Vector3& v) { return each(v, [](double c) { return -c; }); }
Vector4 negate(const Vector4& v) { return each(v, [](double c) { return -c; }); }

double squaredLength(const Vector2& v) { return v.x * v.x + v.y * v.y; }
double squaredLength(const Vector3& v) { return v.x * v.x + v.y * v.y + v.z * v.z; }
double squaredLength(const Vector4& v) { return v.x * v.x + v.y * v.y + v.z * v.z + v.w * v.w; }
double length(const Vector2& v) { return lengthFromSquares(squaredLength(v)); }
double length(const Vector3& v) { return lengthFromSquares(squaredLength(v)); }
double length(const Vector4& v) { return lengthFromSquares(squaredLength(v)); }

double dot(const Vector2& a, const Vector2& b) { return a.x * b.x + a.y * b.y; }
double dot(const Vector3& a, const Vector3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
double dot(const Vector4& a, const Vector4& b) { return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w; }

Vector2 minimum(const Vector2& a, const Vector2& b) { return each(a, b, minReal); }
Vector3 minimum(const Vector3& a, const Vector3& b) { return each(a, b, minReal); }
Vector4 minimum(const Vector4& a, const Vector4& b) { return each(a, b, minReal); }
Vector2 maximum(const Vector2& a, const Vector2& b) { return each(a, b, maxReal); }
Vector3 maximum(const Vector3& a, const Vector3& b) { return each(a, b, maxReal); }
Vector4 maximum(const Vector4& a, const Vector4& b) { return each(a, b, maxReal); }
Vector2 absolute(const Vector2& v) { return each(v, [](double c) { return std::abs(c); }); }
Vector3 absolute(const Vector3& v) { return each(v, [](double c) { return std::abs(c); }); }
Vector4 absolute(const Vector4& v) { return each(v, [](double c) { return std::abs(c); }); }

Vector2 power(const Vector2& v, double e) { return each(v, [e](double c) { return std::pow(c, e); }); }
Vector3 power(const Vector3& v, double e) { return each(v, [e](double c) { return std::pow(c, e); }); }
Vector4 power(const Vector4& v, double e) { return each(v, [e](double c) { return std::pow(c, e); }); }
Vector2 power(const Vector2& v, const Vector2& e) { return each(v, e, raise); }
Vector3 power(const Vector3& v, const Vector3& e) { return each(v, e, raise); }
Vector4 power(const Vector4& v, const Vector4& e) { return each(v, e, raise); }

Vector2 normalise(const Vector2& v) { return normaliseOf(v); }
Vector3 normalise(const Vector3& v) { return normaliseOf(v); }
Vector4 normalise(const Vector4& v) { return normaliseOf(v); }

Vector2 normaliseBySmallest(const Vector2& v) { return scaleReciprocalOf(v, minReal(v.x, v.y)); }
Vector3 normaliseBySmallest(const Vector3& v) { return scaleReciprocalOf(v, minReal(minReal(v.x, v.y), v.z)); }
Vector4 normaliseBySmallest(const Vector4& v) {
    return scaleReciprocalOf(v, minReal(minReal(minReal(v.x, v.y), v.z), v.w));
}
Vector2 normaliseByLargest(const Vector2& v) { return scaleReciprocalOf(v, maxReal(v.x, v.y)); }
Vector3 normaliseByLargest(const Vector3& v) { return scaleReciprocalOf(v, maxReal(maxReal(v.x, v.y), v.z)); }
Vector4 normaliseByLargest(const Vector4& v) {
    return scaleReciprocalOf(v, maxReal(maxReal(maxReal(v.x, v.y), v.z), v.w));
}

double angleBetween(const Vector2& a, const Vector2& b) { return angleOf(a, b); }
double angleBetween(const Vector3& a, const Vector3& b) { return angleOf(a, b); }
double angleBetween(const Vector4& a, const Vector4& b) { return angleOf(a, b); }

Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Vector4 cross(const Vector4& a, const Vector4& b, const Vector4& c) {
    // Each component is the signed minor with that column struck out.
    return {determinant3(a.y, a.z, a.w, b.y, b.z, b.w, c.y, c.z, c.w),
            -determinant3(a.x, a.z, a.w, b.x, b.z, b.w, c.x, c.z, c.w),
            determinant3(a.x, a.y, a.w, b.x, b.y, b.w, c.x, c.y, c.w),
            -determinant3(a.x, a.y, a.z, b.x, b.y, b.z, c.x, c.y, c.z)};
}

double determinant(const Vector4& a, const Vector4& b, const Vector4& c, const Vector4& d) {
    return dot(a, cross(b, c, d));
}

IntVector2 toIntVector(const Vector2& v) { return {truncateReal(v.x), truncateReal(v.y)}; }
IntVector3 toIntVector(const Vector3& v) { return {truncateReal(v.x), truncateReal(v.y), truncateReal(v.z)}; }
IntVector4 toIntVector(const Vector4& v) {
    return {truncateReal(v.x), truncateReal(v.y), truncateReal(v.z), truncateReal(v.w)};
}

// ---- Matrix3 ---------------------------------------------------------------------

Matrix3 transpose(const Matrix3& m) {
    const Vector3* r = m.rows;
    return {{{r[0].x, r[1].x, r[2].x}, {r[0].y, r[1].y, r[2].y}, {r[0].z, r[1].z, r[2].z}}};
}

Matrix3 multiply(const Matrix3& a, const Matrix3& b) {
    const Matrix3 columns = transpose(b);
    Matrix3 result;
    for (int i = 0; i < 3; ++i)
        result.rows[i] = {dot(a.rows[i], columns.rows[0]), dot(a.rows[i], columns.rows[1]),
                          dot(a.rows[i], columns.rows[2])};
    return result;
}

double determinant(const Matrix3& m) { return dot(m.rows[0], cross(m.rows[1], m.rows[2])); }

Matrix3 inverse(const Matrix3& m) {
    const Vector3* r = m.rows;
    // Cross products of row pairs are the columns of the adjugate.
    const Vector3 c0 = cross(r[1], r[2]);
    const Vector3 c1 = cross(r[2], r[0]);
    const Vector3 c2 = cross(r[0], r[1]);
    const double det = dot(r[0], c0);
    if (det == 0) return Matrix3{};
    return transpose(Matrix3{{scale(c0, 1 / det), scale(c1, 1 / det), scale(c2, 1 / det)}});
}

Vector3 apply(const Matrix3& m, const Vector3& v) {
    return {dot(m.rows[0], v), dot(m.rows[1], v), dot(m.rows[2], v)};
}

Matrix3 scaleRows(const Matrix3& m, const Vector3& f) {
    return {{scale(m.rows[0], f.x), scale(m.rows[1], f.y), scale(m.rows[2], f.z)}};
}

// ---- Matrix4 ---------------------------------------------------------------------

Matrix4 transpose(const Matrix4& m) {
    const Vector4* r = m.rows;
    return {{{r[0].x, r[1].x, r[2].x, r[3].x},
             {r[0].y, r[1].y, r[2].y, r[3].y},
             {r[0].z, r[1].z, r[2].z, r[3].z},
             {r[0].w, r[1].w, r[2].w, r[3].w}}};
}

Matrix4 multiply(const Matrix4& a, const Matrix4& b) {
    const Matrix4 columns = transpose(b);
    Matrix4 result;
    for (int i = 0; i < 4; ++i) result.rows[i] = apply(columns, a.rows[i]);
    return result;
}

double determinant(const Matrix4& m) { return determinant(m.rows[0], m.rows[1], m.rows[2], m.rows[3]); }

Matrix4 inverse(const Matrix4& m) {
    const Vector4* r = m.rows;
    const double det = determinant(m);
    if (det == 0) return Matrix4{};
    // Cofactor rows: moving row i to the top takes i transpositions, hence
    // the alternating signs.
    const Matrix4 cofactors{{cross(r[1], r[2], r[3]), negate(cross(r[0], r[2], r[3])), cross(r[0], r[1], r[3]),
                             negate(cross(r[0], r[1], r[2]))}};
    Matrix4 result = transpose(cofactors);
    for (Vector4& row : result.rows) row = scale(row, 1 / det);
    return result;
}

Vector4 apply(const Matrix4& m, const Vector4& v) {
    return {dot(m.rows[0], v), dot(m.rows[1], v), dot(m.rows[2], v), dot(m.rows[3], v)};
}

Vector3 applyToPoint(const Matrix4& m, const Vector3& p) {
    const Vector4 result = apply(m, Vector4{p.x, p.y, p.z, 1});
    return {result.x, result.y, result.z};
}

// ---- Quaternions -------------------------------------------------------------

Vector4 quaternionFromAxisAngle(const Vector3& axis, double angle) {
    const double s = std::sin(angle / 2);
    return pack({std::cos(angle / 2), axis.x * s, axis.y * s, axis.z * s});
}

double quaternionAngle(const Vector4& q) { return 2 * safeAcos(unpack(q).w); }

Vector3 quaternionAxis(const Vector4& q) {
    const Quaternion u = unpack(q);
    return scaleReciprocal(Vector3{u.x, u.y, u.z}, safeSqrt(std::abs(1 - u.w * u.w)));
}

Vector4 quaternionConjugate(const Vector4& q) { return {q.x, -q.y, -q.z, -q.w}; }

Vector4 quaternionProduct(const Vector4& first, const Vector4& second) {
    const Quaternion a = unpack(first);
    const Quaternion b = unpack(second);
    return pack({a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
                 a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x, a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w});
}

Vector3 quaternionRotate(const Vector4& q, const Vector3& v) {
    const Vector4 turned =
        quaternionProduct(quaternionProduct(q, pack({0, v.x, v.y, v.z})), quaternionConjugate(q));
    const Quaternion u = unpack(turned);
    return {u.x, u.y, u.z};
}

Matrix3 quaternionToMatrix(const Vector4& q) {
    const auto [w, x, y, z] = unpack(q);
    return {{{1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
             {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
             {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}}};
}

Vector4 quaternionFromMatrix(const Matrix3& matrix) {
    const double m00 = matrix.rows[0].x, m01 = matrix.rows[0].y, m02 = matrix.rows[0].z;
    const double m10 = matrix.rows[1].x, m11 = matrix.rows[1].y, m12 = matrix.rows[1].z;
    const double m20 = matrix.rows[2].x, m21 = matrix.rows[2].y, m22 = matrix.rows[2].z;
    const double trace = m00 + m11 + m22;
    // Each branch divides by the largest of the four candidates, 4w, 4x, 4y
    // or 4z, to stay accurate; s is that candidate.
    if (trace > 0) {
        const double s = 2 * safeSqrt(trace + 1);
        return pack({s / 4, quotient(m21 - m12, s), quotient(m02 - m20, s), quotient(m10 - m01, s)});
    }
    if (m00 > m11 && m00 > m22) {
        const double s = 2 * safeSqrt(1 + m00 - m11 - m22);
        return pack({quotient(m21 - m12, s), s / 4, quotient(m01 + m10, s), quotient(m02 + m20, s)});
    }
    if (m11 > m22) {
        const double s = 2 * safeSqrt(1 + m11 - m00 - m22);
        return pack({quotient(m02 - m20, s), quotient(m01 + m10, s), s / 4, quotient(m12 + m21, s)});
    }
    const double s = 2 * safeSqrt(1 + m22 - m00 - m11);
    return pack({quotient(m10 - m01, s), quotient(m02 + m20, s), quotient(m12 + m21, s), s / 4});
}

Vector4 quaternionFromMatrix(const Matrix4& m) {
    const Vector4* r = m.rows;
    return quaternionFromMatrix(Matrix3{{{r[0].x, r[0].y, r[0].z}, {r[1].x, r[1].y, r[1].z}, {r[2].x, r[2].y, r[2].z}}});
}

// ---- Symmetric eigenproblem ------------------------------------------------------

EigenSystem eigenSystem(const Symmetric3& tensor) {
    const Vector3& diagonal = tensor.diagonal;
    const Vector3& off = tensor.offDiagonal;
    // Only the upper triangle of a is read and written.
    double a[3][3] = {{diagonal.x, off.x, off.y}, {off.x, diagonal.y, off.z}, {off.y, off.z, diagonal.z}};
    double v[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // columns are the eigenvectors
    double d[3] = {diagonal.x, diagonal.y, diagonal.z};
    constexpr int pairs[3][2] = {{0, 1}, {0, 2}, {1, 2}};
    constexpr int maximumSweeps = 100;

    for (int sweep = 1; sweep <= maximumSweeps; ++sweep) {
        const double offSum = std::abs(a[0][1]) + std::abs(a[0][2]) + std::abs(a[1][2]);
        if (offSum == 0) {
            EigenSystem result;
            result.values = {d[0], d[1], d[2]};
            for (int i = 0; i < 3; ++i) result.vectors.rows[i] = {v[0][i], v[1][i], v[2][i]};
            return result;
        }
        for (const auto& pair : pairs) {
            const int p = pair[0], q = pair[1];
            const double apq = a[p][q];
            const double g = 100 * std::abs(apq);
            // Late in the iteration an element too small to change either
            // diagonal value is dropped, which guarantees the exact-zero stop.
            if (sweep >= 6 && std::abs(d[p]) + g == std::abs(d[p]) && std::abs(d[q]) + g == std::abs(d[q])) {
                a[p][q] = 0;
                continue;
            }
            if (!(std::abs(apq) > 0)) continue;
            const double h = d[q] - d[p];
            double t;
            if (std::abs(h) + g == std::abs(h)) {
                t = apq / h;  // theta^2 would overflow; t ~ 1 / (2 theta)
            } else {
                const double theta = h / (2 * apq);
                const double root = std::sqrt(theta * theta + 1);
                t = theta >= 0 ? 1 / (theta + root) : -1 / (root - theta);
            }
            const double c = 1 / std::sqrt(t * t + 1);
            const double s = t * c;
            a[p][q] = 0;
            d[p] -= t * apq;
            d[q] += t * apq;
            const int r = 3 - p - q;  // the index outside the pair
            double& arp = r < p ? a[r][p] : a[p][r];
            double& arq = r < q ? a[r][q] : a[q][r];
            const double gp = arp, gq = arq;
            arp = c * gp - s * gq;
            arq = s * gp + c * gq;
            for (auto& row : v) {
                const double vp = row[p], vq = row[q];
                row[p] = c * vp - s * vq;
                row[q] = s * vp + c * vq;
            }
        }
    }
    // No convergence: a neutral answer instead of a report.
    return {Vector3{}, identityMatrix3};
}

namespace {

// The three compare-and-swap steps 1-2, 2-3, 1-2 on absolute values, largest
// first, carrying the eigenvector rows along.
void sortByMagnitude(double values[3], Vector3 vectors[3]) {
    constexpr int steps[3][2] = {{0, 1}, {1, 2}, {0, 1}};
    for (const auto& step : steps) {
        const int i = step[0], j = step[1];
        if (std::abs(values[i]) < std::abs(values[j])) {
            std::swap(values[i], values[j]);
            std::swap(vectors[i], vectors[j]);
        }
    }
}

}  // namespace

Vector3 eigenValues(const Symmetric3& tensor) {
    EigenSystem system = eigenSystem(tensor);
    double values[3] = {system.values.x, system.values.y, system.values.z};
    sortByMagnitude(values, system.vectors.rows);
    if (values[0] < 0)
        for (double& value : values) value = -value;
    for (int i = 1; i < 3; ++i)
        if (values[i] <= 0) values[i] = smallestPositiveReal;
    return {values[0], values[1], values[2]};
}

Matrix3 eigenVectors(const Symmetric3& tensor) {
    EigenSystem system = eigenSystem(tensor);
    double values[3] = {system.values.x, system.values.y, system.values.z};
    sortByMagnitude(values, system.vectors.rows);
    return system.vectors;
}

}  // namespace corvane
