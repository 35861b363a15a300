// Maths core: arithmetic of the vector and matrix records, quaternions and the
// symmetric 3-by-3 eigen solver. The house rule is that anything that could
// divide by zero answers zero instead. Everything here is a pure function on
// values: no allocation and no state, so that it can run per voxel from
// worker threads.
#pragma once

#include <cstdint>

#include "foundation/vectors.h"

namespace corvane {

// A symmetric 3-by-3 matrix, the form of tensor field voxels:
// diagonal = (xx, yy, zz), offDiagonal = (xy, xz, yz).
struct Symmetric3 {
    Vector3 diagonal;
    Vector3 offDiagonal;
};

struct Range {
    std::int64_t first = 0;
    std::int64_t last = 0;
};

inline constexpr Matrix3 identityMatrix3{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
inline constexpr Matrix4 identityMatrix4{{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};

// The smallest positive normal real; stands in for eigenvalues at or below
// zero so that ratios and logarithms of them stay defined.
inline constexpr double smallestPositiveReal = 2.2250738585072014e-308;

// ---- Reals ---------------------------------------------------------------

// Below lower gives lower, above upper gives upper; NaN passes unchanged.
double clampReal(double value, double lower, double upper);
// lower <= value <= upper; NaN is never between.
bool between(double value, double lower, double upper);
// When the second is NaN the first wins.
double minReal(double a, double b);
double maxReal(double a, double b);
// abs(a) with the sign of b; b = 0 (either zero) counts as positive.
double signTransfer(double a, double b);

// ---- Vectors, element by element unless said -----------------------------

Vector2 add(const Vector2& a, const Vector2& b);
Vector3 add(const Vector3& a, const Vector3& b);
Vector4 add(const Vector4& a, const Vector4& b);
Vector2 subtract(const Vector2& a, const Vector2& b);
Vector3 subtract(const Vector3& a, const Vector3& b);
Vector4 subtract(const Vector4& a, const Vector4& b);
Vector2 multiply(const Vector2& a, const Vector2& b);
Vector3 multiply(const Vector3& a, const Vector3& b);
Vector4 multiply(const Vector4& a, const Vector4& b);
// A zero divisor gives 0 in that component.
Vector2 divide(const Vector2& a, const Vector2& b);
Vector3 divide(const Vector3& a, const Vector3& b);
Vector4 divide(const Vector4& a, const Vector4& b);
Vector2 scale(const Vector2& v, double factor);
Vector3 scale(const Vector3& v, double factor);
Vector4 scale(const Vector4& v, double factor);
// v / divisor; a zero divisor gives the zero vector.
Vector2 scaleReciprocal(const Vector2& v, double divisor);
Vector3 scaleReciprocal(const Vector3& v, double divisor);
Vector4 scaleReciprocal(const Vector4& v, double divisor);
Vector2 negate(const Vector2& v);
Vector3 negate(const Vector3& v);
Vector4 negate(const Vector4& v);
// sqrt(abs(sum of squares)); a floating-point failure (NaN) gives 0.
double length(const Vector2& v);
double length(const Vector3& v);
double length(const Vector4& v);
double squaredLength(const Vector2& v);
double squaredLength(const Vector3& v);
double squaredLength(const Vector4& v);
double dot(const Vector2& a, const Vector2& b);
double dot(const Vector3& a, const Vector3& b);
double dot(const Vector4& a, const Vector4& b);
Vector2 minimum(const Vector2& a, const Vector2& b);
Vector3 minimum(const Vector3& a, const Vector3& b);
Vector4 minimum(const Vector4& a, const Vector4& b);
Vector2 maximum(const Vector2& a, const Vector2& b);
Vector3 maximum(const Vector3& a, const Vector3& b);
Vector4 maximum(const Vector4& a, const Vector4& b);
Vector2 absolute(const Vector2& v);
Vector3 absolute(const Vector3& v);
Vector4 absolute(const Vector4& v);
// pow of each component, by one exponent or by the matching component.
Vector2 power(const Vector2& v, double exponent);
Vector3 power(const Vector3& v, double exponent);
Vector4 power(const Vector4& v, double exponent);
Vector2 power(const Vector2& v, const Vector2& exponents);
Vector3 power(const Vector3& v, const Vector3& exponents);
Vector4 power(const Vector4& v, const Vector4& exponents);

// To unit length; the zero vector stays zero.
Vector2 normalise(const Vector2& v);
Vector3 normalise(const Vector3& v);
Vector4 normalise(const Vector4& v);
// Divided by the smallest (signed) component, or the largest; a zero divisor
// gives the zero vector.
Vector2 normaliseBySmallest(const Vector2& v);
Vector3 normaliseBySmallest(const Vector3& v);
Vector4 normaliseBySmallest(const Vector4& v);
Vector2 normaliseByLargest(const Vector2& v);
Vector3 normaliseByLargest(const Vector3& v);
Vector4 normaliseByLargest(const Vector4& v);
// arccos(dot / (|a| |b|)) in radians; 0 when |a| |b| is 0 or arccos fails.
double angleBetween(const Vector2& a, const Vector2& b);
double angleBetween(const Vector3& a, const Vector3& b);
double angleBetween(const Vector4& a, const Vector4& b);

Vector3 cross(const Vector3& a, const Vector3& b);
// The vector4 orthogonal to a, b and c: the cofactors of the first row of the
// 4-by-4 array with rows (e, a, b, c), so that dot(d, cross(a, b, c)) equals
// determinant(d, a, b, c).
Vector4 cross(const Vector4& a, const Vector4& b, const Vector4& c);
// Determinant of the 4-by-4 array with these rows, expanded along the first.
double determinant(const Vector4& a, const Vector4& b, const Vector4& c, const Vector4& d);

// Truncation towards zero, clamped to plus or minus 2^63; NaN gives 0.
IntVector2 toIntVector(const Vector2& v);
IntVector3 toIntVector(const Vector3& v);
IntVector4 toIntVector(const Vector4& v);

// ---- Matrices (rows; vectors are columns applied from the right) ---------

Matrix3 multiply(const Matrix3& a, const Matrix3& b);
Matrix3 transpose(const Matrix3& m);
double determinant(const Matrix3& m);
// Adjugate over determinant; a zero determinant gives the zero matrix.
Matrix3 inverse(const Matrix3& m);
Vector3 apply(const Matrix3& m, const Vector3& v);
// Row i multiplied by component i of factors.
Matrix3 scaleRows(const Matrix3& m, const Vector3& factors);

Matrix4 multiply(const Matrix4& a, const Matrix4& b);
Matrix4 transpose(const Matrix4& m);
double determinant(const Matrix4& m);
// Cofactors over determinant; a zero determinant gives the zero matrix.
Matrix4 inverse(const Matrix4& m);
Vector4 apply(const Matrix4& m, const Vector4& v);
// A point has w = 1; the result is the first three components of m * <p, 1>.
Vector3 applyToPoint(const Matrix4& m, const Vector3& point);

// ---- Quaternions -----------------------------------------------------------
//
// A quaternion <w, x, y, z> is held in a Vector4 IN THAT ORDER:
//   Vector4.x = w (scalar part), Vector4.y = x, Vector4.z = y, Vector4.w = z.
// So the field named w of the record holds the quaternion's z, not its w.
// The unit quaternion is Vector4{1, 0, 0, 0}.

// w = cos(angle/2), <x, y, z> = axis * sin(angle/2); the axis is used as given.
Vector4 quaternionFromAxisAngle(const Vector3& axis, double angle);
// 2 * arccos(w); 0 when arccos fails (w outside [-1, 1]).
double quaternionAngle(const Vector4& q);
// <x, y, z> / sqrt(abs(1 - w*w)); the zero vector when that is 0.
Vector3 quaternionAxis(const Vector4& q);
Vector4 quaternionConjugate(const Vector4& q);
// Hamilton product a * b (b acts first when rotating).
Vector4 quaternionProduct(const Vector4& a, const Vector4& b);
// The vector part of q * <0, v> * conjugate(q).
Vector3 quaternionRotate(const Vector4& q, const Vector3& v);
// Rotation matrix of a unit quaternion: apply(quaternionToMatrix(q), v)
// equals quaternionRotate(q, v).
Matrix3 quaternionToMatrix(const Vector4& q);
// Inverse of quaternionToMatrix for rotation matrices, branching on the trace
// and otherwise on the largest diagonal element. A Matrix4 uses its upper-left
// 3-by-3 block.
Vector4 quaternionFromMatrix(const Matrix3& m);
Vector4 quaternionFromMatrix(const Matrix4& m);

// ---- Symmetric eigenproblem ------------------------------------------------

// Unsorted eigenvalues and the matching eigenvectors; rows of vectors are the
// eigenvectors, row i belonging to value component i.
struct EigenSystem {
    Vector3 values;
    Matrix3 vectors;
};

// Cyclic Jacobi iteration. Without convergence after 100 sweeps the values
// are the zero vector and the vectors the identity.
EigenSystem eigenSystem(const Symmetric3& tensor);
// Sorted by absolute value, largest first; all negated when the first is
// negative; then a second or third value at or below 0 becomes
// smallestPositiveReal.
Vector3 eigenValues(const Symmetric3& tensor);
// Rows are the eigenvectors in the order of eigenValues (before the sign rule).
Matrix3 eigenVectors(const Symmetric3& tensor);

}  // namespace corvane
