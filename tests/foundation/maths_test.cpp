// The maths core: zero-division and NaN rules, products and determinants,
// matrix inverses, quaternions and the symmetric eigen solver.
#include "foundation/maths.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "foundation/numbers.h"

namespace corvane {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double pi = std::numbers::pi;

void expectNear(const Vector3& actual, const Vector3& expected, double tolerance) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
}

void expectNear(const Vector4& actual, const Vector4& expected, double tolerance) {
    EXPECT_NEAR(actual.x, expected.x, tolerance);
    EXPECT_NEAR(actual.y, expected.y, tolerance);
    EXPECT_NEAR(actual.z, expected.z, tolerance);
    EXPECT_NEAR(actual.w, expected.w, tolerance);
}

void expectNear(const Matrix3& actual, const Matrix3& expected, double tolerance) {
    for (int i = 0; i < 3; ++i) expectNear(actual.rows[i], expected.rows[i], tolerance);
}

void expectNear(const Matrix4& actual, const Matrix4& expected, double tolerance) {
    for (int i = 0; i < 4; ++i) expectNear(actual.rows[i], expected.rows[i], tolerance);
}

// Exact comparison that also tells which component differs.
void expectEqual(const Vector3& actual, const Vector3& expected) {
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
    EXPECT_EQ(actual.z, expected.z);
}

void expectEqual(const Matrix3& actual, const Matrix3& expected) {
    for (int i = 0; i < 3; ++i) expectEqual(actual.rows[i], expected.rows[i]);
}

// ---- Reals --------------------------------------------------------------------

struct ClampCase {
    double value, lower, upper, clamped;
    bool inside;
};

TEST(MathsReals, ClampAndBetween) {
    const ClampCase cases[] = {
        {-1, 0, 10, 0, false}, {0, 0, 10, 0, true},    {5, 0, 10, 5, true},
        {10, 0, 10, 10, true}, {11, 0, 10, 10, false}, {-0.5, -1, 1, -0.5, true},
    };
    for (const ClampCase& c : cases) {
        EXPECT_EQ(clampReal(c.value, c.lower, c.upper), c.clamped) << c.value;
        EXPECT_EQ(between(c.value, c.lower, c.upper), c.inside) << c.value;
    }
}

TEST(MathsReals, NaNRules) {
    EXPECT_TRUE(std::isnan(clampReal(nan, 0, 1)));  // NaN stays
    EXPECT_FALSE(between(nan, 0, 1));
    EXPECT_FALSE(between(nan, -INFINITY, INFINITY));
    EXPECT_EQ(minReal(1, nan), 1);  // the second NaN loses
    EXPECT_EQ(maxReal(1, nan), 1);
    EXPECT_EQ(minReal(1, 2), 1);
    EXPECT_EQ(minReal(2, 1), 1);
    EXPECT_EQ(maxReal(1, 2), 2);
    EXPECT_EQ(maxReal(2, 1), 2);
}

struct SignCase {
    double a, b, expected;
};

TEST(MathsReals, SignTransfer) {
    const SignCase cases[] = {
        {3, 2, 3}, {3, -2, -3}, {-3, 2, 3}, {-3, -2, -3},
        {-3, 0, 3}, {-3, -0.0, 3},  // either zero counts as positive
        {0, -1, 0},
    };
    for (const SignCase& c : cases) EXPECT_EQ(signTransfer(c.a, c.b), c.expected) << c.a << " " << c.b;
}

// ---- Vectors --------------------------------------------------------------------

TEST(MathsVectors, ElementwiseOperations) {
    const Vector3 a{1, -2, 3};
    const Vector3 b{4, 5, -6};
    expectEqual(add(a, b), {5, 3, -3});
    expectEqual(subtract(a, b), {-3, -7, 9});
    expectEqual(multiply(a, b), {4, -10, -18});
    expectEqual(scale(a, 2), {2, -4, 6});
    expectEqual(negate(a), {-1, 2, -3});
    expectEqual(minimum(a, b), {1, -2, -6});
    expectEqual(maximum(a, b), {4, 5, 3});
    expectEqual(absolute(a), {1, 2, 3});
    expectEqual(power(a, 2), {1, 4, 9});
    expectEqual(power(Vector3{2, 3, 4}, Vector3{3, 2, 0.5}), {8, 9, 2});
    EXPECT_EQ(dot(a, b), 4 - 10 - 18);
    EXPECT_EQ(squaredLength(a), 14);
    EXPECT_EQ(length(Vector2{3, 4}), 5);
    EXPECT_EQ(length(Vector4{1, 1, 1, 1}), 2);
    EXPECT_EQ(dot(Vector2{1, 2}, Vector2{3, 4}), 11);
    const Vector4 sum = add(Vector4{1, 2, 3, 4}, Vector4{4, 3, 2, 1});
    EXPECT_EQ(sum.w, 5);
}

TEST(MathsVectors, ZeroDivisionGivesZero) {
    expectEqual(divide(Vector3{6, 8, 10}, Vector3{2, 0, -5}), {3, 0, -2});
    const Vector2 byZero2 = divide(Vector2{1, 1}, Vector2{0, 0});
    EXPECT_EQ(byZero2.x, 0);
    EXPECT_EQ(byZero2.y, 0);
    const Vector4 byZero4 = divide(Vector4{1, 2, 3, 4}, Vector4{1, 0, 1, 0});
    EXPECT_EQ(byZero4.y, 0);
    EXPECT_EQ(byZero4.w, 0);
    EXPECT_EQ(byZero4.z, 3);

    expectEqual(scaleReciprocal(Vector3{2, 4, 6}, 2), {1, 2, 3});
    expectEqual(scaleReciprocal(Vector3{2, 4, 6}, 0), {0, 0, 0});
    expectEqual(normalise(Vector3{}), {0, 0, 0});
    expectNear(normalise(Vector3{0, 3, 4}), {0, 0.6, 0.8}, 1e-15);

    expectEqual(normaliseBySmallest(Vector3{2, 4, 8}), {1, 2, 4});
    expectEqual(normaliseByLargest(Vector3{2, 4, 8}), {0.25, 0.5, 1});
    expectEqual(normaliseBySmallest(Vector3{0, 4, 8}), {0, 0, 0});
    expectEqual(normaliseByLargest(Vector3{-2, -4, 0}), {0, 0, 0});
    const Vector4 byLargest4 = normaliseByLargest(Vector4{1, 2, 4, 0});
    EXPECT_EQ(byLargest4.z, 1);
    const Vector4 bySmallest4 = normaliseBySmallest(Vector4{1, 2, 4, 0});  // 0 is the smallest
    EXPECT_EQ(bySmallest4.x, 0);

    EXPECT_EQ(angleBetween(Vector3{}, Vector3{1, 0, 0}), 0);
    EXPECT_EQ(angleBetween(Vector2{1, 0}, Vector2{}), 0);
}

struct AngleCase {
    Vector3 a, b;
    double angle;
};

TEST(MathsVectors, AngleBetween) {
    const AngleCase cases[] = {
        {{1, 0, 0}, {0, 1, 0}, pi / 2},
        {{1, 0, 0}, {1, 1, 0}, pi / 4},
        {{2, 0, 0}, {5, 0, 0}, 0},
        {{1, 0, 0}, {-1, 0, 0}, pi},
    };
    for (const AngleCase& c : cases) EXPECT_NEAR(angleBetween(c.a, c.b), c.angle, 1e-12);
    EXPECT_NEAR(angleBetween(Vector4{1, 0, 0, 0}, Vector4{0, 0, 0, 1}), pi / 2, 1e-12);
}

TEST(MathsVectors, LengthFailureGivesZero) {
    EXPECT_EQ(length(Vector3{nan, 1, 1}), 0);
    EXPECT_EQ(length(Vector4{1, nan, 1, 1}), 0);
    EXPECT_EQ(length(Vector2{nan, 0}), 0);
    EXPECT_EQ(length(Vector3{}), 0);
}

TEST(MathsVectors, IntegerVectorsTruncateWithClamp) {
    const IntVector3 v = toIntVector(Vector3{1.9, -1.9, 1e300});
    EXPECT_EQ(v.x, 1);
    EXPECT_EQ(v.y, -1);
    EXPECT_EQ(v.z, truncateReal(1e300));
    const IntVector4 w = toIntVector(Vector4{nan, -1e300, 7.5, -0.5});
    EXPECT_EQ(w.x, truncateReal(nan));
    EXPECT_EQ(w.y, truncateReal(-1e300));
    EXPECT_EQ(w.z, 7);
    EXPECT_EQ(w.w, 0);
    const IntVector2 u = toIntVector(Vector2{2.5, -3.5});
    EXPECT_EQ(u.x, 2);
    EXPECT_EQ(u.y, -3);
}

// ---- Cross products and determinants --------------------------------------------

TEST(MathsProducts, CrossAndDeterminants) {
    expectEqual(cross(Vector3{1, 0, 0}, Vector3{0, 1, 0}), {0, 0, 1});
    expectEqual(cross(Vector3{0, 1, 0}, Vector3{1, 0, 0}), {0, 0, -1});
    expectEqual(cross(Vector3{1, 2, 3}, Vector3{4, 5, 6}), {-3, 6, -3});

    // The unit vectors e1, e2, e3 span everything but e4.
    const Vector4 e4 = cross(Vector4{1, 0, 0, 0}, Vector4{0, 1, 0, 0}, Vector4{0, 0, 1, 0});
    expectNear(e4, {0, 0, 0, -1}, 0);

    struct DeterminantCase {
        Vector4 a, b, c, d;
        double determinant;
    };
    const DeterminantCase cases[] = {
        {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}, 1},
        {{0, 1, 0, 0}, {1, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}, -1},
        {{2, 7, -1, 3}, {0, 3, 5, 8}, {0, 0, 4, -2}, {0, 0, 0, 5}, 120},  // triangular
        {{2, 0, 0, 0}, {7, 3, 0, 0}, {-1, 5, 4, 0}, {3, 8, -2, 5}, 120},
        {{1, 2, 3, 4}, {2, 4, 6, 8}, {0, 1, 0, 1}, {5, 5, 5, 5}, 0},  // two rows parallel
    };
    for (const DeterminantCase& c : cases) {
        EXPECT_NEAR(determinant(c.a, c.b, c.c, c.d), c.determinant, 1e-12);
        EXPECT_NEAR(determinant(Matrix4{{c.a, c.b, c.c, c.d}}), c.determinant, 1e-12);
    }

    const Vector4 a{1, 2, -1, 3}, b{0, 4, 2, 1}, c{-2, 1, 1, 5}, d{3, -1, 2, 2};
    const Vector4 n = cross(a, b, c);
    EXPECT_NEAR(dot(n, a), 0, 1e-12);
    EXPECT_NEAR(dot(n, b), 0, 1e-12);
    EXPECT_NEAR(dot(n, c), 0, 1e-12);
    EXPECT_NEAR(dot(d, n), determinant(d, a, b, c), 1e-12);

    EXPECT_EQ(determinant(identityMatrix3), 1);
    EXPECT_EQ(determinant(Matrix3{{{2, 0, 0}, {0, 3, 0}, {1, 1, 4}}}), 24);
}

// ---- Matrices ---------------------------------------------------------------------

TEST(MathsMatrices, Matrix3Operations) {
    const Matrix3 m{{{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}};
    expectEqual(transpose(m), Matrix3{{{1, 4, 7}, {2, 5, 8}, {3, 6, 10}}});
    expectEqual(multiply(m, identityMatrix3), m);
    expectEqual(multiply(Matrix3{{{0, 1, 0}, {1, 0, 0}, {0, 0, 1}}}, m), Matrix3{{{4, 5, 6}, {1, 2, 3}, {7, 8, 10}}});
    expectEqual(apply(m, Vector3{1, 0, -1}), {-2, -2, -3});
    expectEqual(scaleRows(m, Vector3{1, 0, -1}), Matrix3{{{1, 2, 3}, {0, 0, 0}, {-7, -8, -10}}});
}

TEST(MathsMatrices, Matrix3InverseRoundTrips) {
    const Matrix3 cases[] = {
        identityMatrix3,
        {{{1, 2, 3}, {4, 5, 6}, {7, 8, 10}}},
        {{{0, 0, 2}, {0, 3, 0}, {5, 0, 0}}},
        {{{1e-3, 2, -7}, {0.5, 9, 1}, {-4, 0, 0.25}}},
    };
    for (const Matrix3& m : cases) {
        const Matrix3 inv = inverse(m);
        expectNear(multiply(m, inv), identityMatrix3, 1e-12);
        expectNear(multiply(inv, m), identityMatrix3, 1e-12);
    }
}

TEST(MathsMatrices, SingularMatricesInvertToZero) {
    const Matrix3 singular3[] = {
        {},
        {{{1, 2, 3}, {2, 4, 6}, {0, 1, 0}}},
        {{{1, 0, 0}, {0, 1, 0}, {0, 0, 0}}},  // no identity row is put back
    };
    for (const Matrix3& m : singular3) expectEqual(inverse(m), Matrix3{});

    const Matrix4 singular4[] = {
        {},
        {{{1, 2, 3, 4}, {2, 4, 6, 8}, {0, 1, 0, 1}, {5, 5, 5, 5}}},
        {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 0}}},
    };
    for (const Matrix4& m : singular4) expectNear(inverse(m), Matrix4{}, 0);
}

TEST(MathsMatrices, Matrix4OperationsAndInverse) {
    const Matrix4 m{{{2, 0, 0, 5}, {0, 3, 0, -1}, {0, 0, 4, 2}, {0, 0, 0, 1}}};
    expectNear(transpose(m).rows[3], Vector4{5, -1, 2, 1}, 0);
    expectNear(apply(m, Vector4{1, 1, 1, 0}), {2, 3, 4, 0}, 0);
    expectNear(apply(m, Vector4{1, 1, 1, 1}), {7, 2, 6, 1}, 0);
    expectEqual(applyToPoint(m, Vector3{1, 1, 1}), {7, 2, 6});
    expectNear(multiply(m, identityMatrix4), m, 0);

    const Matrix4 cases[] = {
        identityMatrix4,
        m,
        {{{1, 2, -1, 3}, {0, 4, 2, 1}, {-2, 1, 1, 5}, {3, -1, 2, 2}}},
        {{{0, 0, 0, 1}, {0, 0, 2, 0}, {0, 3, 0, 0}, {4, 0, 0, 0}}},
    };
    for (const Matrix4& c : cases) {
        const Matrix4 inv = inverse(c);
        expectNear(multiply(c, inv), identityMatrix4, 1e-12);
        expectNear(multiply(inv, c), identityMatrix4, 1e-12);
    }
}

// ---- Quaternions ----------------------------------------------------------------

TEST(MathsQuaternions, LayoutHoldsWFirst) {
    // <w, x, y, z> in the fields x, y, z, w of the record.
    const Vector4 q = quaternionFromAxisAngle(Vector3{0, 0, 1}, pi);
    EXPECT_NEAR(q.x, 0, 1e-15);  // w = cos(pi/2)
    EXPECT_EQ(q.y, 0);
    EXPECT_EQ(q.z, 0);
    EXPECT_EQ(q.w, 1);  // the quaternion's z
    expectNear(quaternionConjugate(Vector4{1, 2, 3, 4}), {1, -2, -3, -4}, 0);
}

TEST(MathsQuaternions, HamiltonProduct) {
    const Vector4 one{1, 0, 0, 0}, i{0, 1, 0, 0}, j{0, 0, 1, 0}, k{0, 0, 0, 1};
    struct ProductCase {
        Vector4 a, b, product;
    };
    const ProductCase cases[] = {
        {i, j, k}, {j, k, i}, {k, i, j}, {j, i, negate(k)}, {i, i, negate(one)},
        {one, k, k}, {Vector4{1, 2, 3, 4}, Vector4{5, 6, 7, 8}, Vector4{-60, 12, 30, 24}},
    };
    for (const ProductCase& c : cases) expectNear(quaternionProduct(c.a, c.b), c.product, 0);
}

TEST(MathsQuaternions, RotateNinetyDegreesAboutZ) {
    const Vector4 q = quaternionFromAxisAngle(Vector3{0, 0, 1}, pi / 2);
    expectNear(quaternionRotate(q, Vector3{1, 0, 0}), {0, 1, 0}, 1e-15);
    expectNear(quaternionRotate(q, Vector3{0, 1, 0}), {-1, 0, 0}, 1e-15);
    expectNear(quaternionRotate(q, Vector3{0, 0, 2}), {0, 0, 2}, 1e-15);
    expectNear(apply(quaternionToMatrix(q), Vector3{1, 0, 0}), {0, 1, 0}, 1e-15);
}

TEST(MathsQuaternions, AxisAngleMatrixRoundTrips) {
    struct RoundTripCase {
        Vector3 axis;
        double angle;
    };
    const double r = 1 / std::sqrt(3.0);
    // Angles up to pi and axes that bring every branch of the trace test.
    const RoundTripCase cases[] = {
        {{0, 0, 1}, pi / 2}, {{1, 0, 0}, 0.3}, {{0, 1, 0}, 2.5},  {{r, r, r}, 1.2},
        {{r, -r, r}, 3.0},   {{1, 0, 0}, pi},  {{0, 1, 0}, pi},   {{0, 0, 1}, pi},
        {{0.6, 0, 0.8}, 2.9}, {{0, 0.8, -0.6}, 0.01},
    };
    const Vector3 probe{0.3, -1.2, 2.5};
    for (const RoundTripCase& c : cases) {
        const Vector4 q = quaternionFromAxisAngle(c.axis, c.angle);
        EXPECT_NEAR(length(q), 1, 1e-15);
        EXPECT_NEAR(quaternionAngle(q), c.angle, 1e-7);
        expectNear(quaternionAxis(q), c.axis, 1e-7);
        const Matrix3 m = quaternionToMatrix(q);
        expectNear(multiply(m, transpose(m)), identityMatrix3, 1e-14);
        EXPECT_NEAR(determinant(m), 1, 1e-14);
        expectNear(apply(m, probe), quaternionRotate(q, probe), 1e-14);

        // q and -q are the same rotation; compare with the matching sign.
        const Vector4 back = quaternionFromMatrix(m);
        const Vector4 expected = dot(back, q) < 0 ? negate(q) : q;
        expectNear(back, expected, 1e-14);

        Matrix4 m4 = identityMatrix4;
        for (int i = 0; i < 3; ++i) m4.rows[i] = {m.rows[i].x, m.rows[i].y, m.rows[i].z, 7};
        expectNear(quaternionFromMatrix(m4), back, 0);
    }
}

TEST(MathsQuaternions, DegenerateCasesGiveZero) {
    // The unit quaternion has no axis: sqrt(1 - w*w) is 0.
    expectEqual(quaternionAxis(Vector4{1, 0, 0, 0}), {0, 0, 0});
    EXPECT_EQ(quaternionAngle(Vector4{1, 0, 0, 0}), 0);
    EXPECT_EQ(quaternionAngle(Vector4{1.5, 0, 0, 0}), 0);  // arccos fails
    EXPECT_NEAR(quaternionAngle(Vector4{-1, 0, 0, 0}), 2 * pi, 1e-15);
}

// ---- Symmetric eigenproblem ---------------------------------------------------

Matrix3 fullMatrix(const Symmetric3& t) {
    const Vector3& d = t.diagonal;
    const Vector3& o = t.offDiagonal;
    return {{{d.x, o.x, o.y}, {o.x, d.y, o.z}, {o.y, o.z, d.z}}};
}

TEST(MathsEigen, DiagonalEndsBeforeTheFirstSweep) {
    const Symmetric3 tensor{{5, -1, 2}, {0, 0, 0}};
    const EigenSystem system = eigenSystem(tensor);
    expectEqual(system.values, {5, -1, 2});
    expectEqual(system.vectors, identityMatrix3);
    // Sorted by magnitude: 5, 2, -1; the last becomes the smallest normal.
    expectEqual(eigenValues(tensor), {5, 2, smallestPositiveReal});
    expectEqual(eigenVectors(tensor), Matrix3{{{1, 0, 0}, {0, 0, 1}, {0, 1, 0}}});
}

struct OrderingCase {
    Vector3 diagonal;
    Vector3 values;
    Matrix3 vectors;
};

TEST(MathsEigen, OrderingAndSignRule) {
    const OrderingCase cases[] = {
        // -3, 1, 2 sorts to -3, 2, 1, turns to 3, -2, -1, ends as 3, tiny, tiny.
        {{-3, 1, 2}, {3, smallestPositiveReal, smallestPositiveReal}, {{{1, 0, 0}, {0, 0, 1}, {0, 1, 0}}}},
        {{0, 0, 0}, {0, smallestPositiveReal, smallestPositiveReal}, identityMatrix3},
        {{1, 2, 3}, {3, 2, 1}, {{{0, 0, 1}, {0, 1, 0}, {1, 0, 0}}}},
        {{-1, -2, -3}, {3, 2, 1}, {{{0, 0, 1}, {0, 1, 0}, {1, 0, 0}}}},
        {{2, -2, 1}, {2, smallestPositiveReal, 1}, identityMatrix3},  // equal magnitudes keep their order
        {{4, 0, -5}, {5, smallestPositiveReal, smallestPositiveReal}, {{{0, 0, 1}, {1, 0, 0}, {0, 1, 0}}}},
    };
    for (const OrderingCase& c : cases) {
        const Symmetric3 tensor{c.diagonal, {0, 0, 0}};
        expectEqual(eigenValues(tensor), c.values);
        expectEqual(eigenVectors(tensor), c.vectors);
    }
    EXPECT_EQ(smallestPositiveReal, std::numeric_limits<double>::min());
}

TEST(MathsEigen, KnownNonDiagonalTensor) {
    // [[2,1,0],[1,2,0],[0,0,3]] has eigenvalues 3 (twice) and 1.
    const Symmetric3 tensor{{2, 2, 3}, {1, 0, 0}};
    expectNear(eigenValues(tensor), {3, 3, 1}, 1e-14);
    const Matrix3 vectors = eigenVectors(tensor);
    expectNear(absolute(vectors.rows[2]), {std::sqrt(0.5), std::sqrt(0.5), 0}, 1e-14);
}

TEST(MathsEigen, NoConvergenceGivesTheNeutralAnswer) {
    // NaN never sums to exactly 0, so all hundred sweeps run out.
    const EigenSystem system = eigenSystem(Symmetric3{{1, 2, 3}, {nan, 0.5, 0.25}});
    expectEqual(system.values, {0, 0, 0});
    expectEqual(system.vectors, identityMatrix3);
}

TEST(MathsEigen, RandomSymmetricMatricesReconstruct) {
    std::mt19937_64 generator(20240611);
    std::uniform_real_distribution<double> entry(-10, 10);
    for (int n = 0; n < 1000; ++n) {
        const Symmetric3 tensor{{entry(generator), entry(generator), entry(generator)},
                                {entry(generator), entry(generator), entry(generator)}};
        const Matrix3 a = fullMatrix(tensor);
        const EigenSystem system = eigenSystem(tensor);
        const double values[3] = {system.values.x, system.values.y, system.values.z};
        for (int i = 0; i < 3; ++i) {
            const Vector3& v = system.vectors.rows[i];
            const Vector3 residual = subtract(apply(a, v), scale(v, values[i]));
            ASSERT_LT(length(residual), 1e-9) << "matrix " << n << " vector " << i;
            for (int j = 0; j < 3; ++j)
                ASSERT_NEAR(dot(v, system.vectors.rows[j]), i == j ? 1.0 : 0.0, 1e-9) << "matrix " << n;
        }
        // The sorted forms: magnitudes descending, the sign rule, the floor.
        const Vector3 sorted = eigenValues(tensor);
        const Matrix3 sortedVectors = eigenVectors(tensor);
        double rayleigh[3];  // the value of each unit eigenvector
        for (int i = 0; i < 3; ++i)
            rayleigh[i] = dot(sortedVectors.rows[i], apply(a, sortedVectors.rows[i]));
        ASSERT_GE(std::abs(rayleigh[0]) + 1e-9, std::abs(rayleigh[1])) << "matrix " << n;
        ASSERT_GE(std::abs(rayleigh[1]) + 1e-9, std::abs(rayleigh[2])) << "matrix " << n;
        const double sign = rayleigh[0] < 0 ? -1 : 1;
        const double reported[3] = {sorted.x, sorted.y, sorted.z};
        ASSERT_NEAR(reported[0], sign * rayleigh[0], 1e-9) << "matrix " << n;
        for (int i = 1; i < 3; ++i) {
            if (sign * rayleigh[i] <= 0)
                ASSERT_EQ(reported[i], smallestPositiveReal) << "matrix " << n;
            else
                ASSERT_NEAR(reported[i], sign * rayleigh[i], 1e-9) << "matrix " << n;
        }
    }
}

}  // namespace
}  // namespace corvane
