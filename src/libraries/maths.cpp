// math.* settings, vector lists, quaternion and matrix commands.
#include "libraries/maths.h"

#include <cmath>
#include <functional>
#include <vector>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "foundation/maths.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

using Hyper = Vector4;


// ---- settings ----------------------------------------------------------------

// One parameter, read as a switch or a number, into the number settings.
bool settingParameter(MacroEngine& engine, Text& value) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return false;
    }
    value = parameterOrEmpty(engine, 1);
    return true;
}

template <bool NumberSettings::*setting>
void switchSetting(MacroEngine& engine) {
    Text value;
    if (settingParameter(engine, value)) numberSettings.*setting = readBool(value);
}

template <std::int32_t NumberSettings::*setting>
void numberSetting(MacroEngine& engine) {
    Text value;
    if (settingParameter(engine, value)) numberSettings.*setting = static_cast<std::int32_t>(readInteger(value));
}

// ---- vector lists --------------------------------------------------------------

// Applies `each` to every parameter and joins the answers by a blank.
void vectorList(MacroEngine& engine, const std::function<Text(const Hyper&)>& each) {
    setResult(engine, Text());
    if (parameterCount(engine) < 1) {
        errorCountMin(engine, 1);
        return;
    }
    Text answer;
    for (std::int64_t i = 1; i <= parameterCount(engine); ++i) {
        if (i > 1) answer += " ";
        answer += each(vector4Of(parameterOrEmpty(engine, i)));
    }
    setResult(engine, answer);
}

// math.norm <vector> ...
void mathNorm(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) { return vector4ToText(normalise(v)); });
}

// math.minnorm <vector> ...
void mathMinNorm(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) { return vector4ToText(normaliseBySmallest(v)); });
}

// math.maxnorm <vector> ...
void mathMaxNorm(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) { return vector4ToText(normaliseByLargest(v)); });
}

// math.length <vector> ...
void mathLength(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) { return shortRealToText(length(v)); });
}

// math.angle <vector> <vector>
void mathAngle(MacroEngine& engine) {
    setResult(engine, Text());
    if (parameterCount(engine) != 2) {
        errorCountExact(engine, 2);
        return;
    }
    setResult(engine, shortRealToText(angleBetween(vector4Of(parameterOrEmpty(engine, 1)), vector4Of(parameterOrEmpty(engine, 2)))));
}

// ---- quaternions, as <w, x, y, z> -------------------------------------------------

Text vector3Text(const Vector3& v) { return vector3ToText(v); }

// A wrong count gives the exact report and no result.
bool exactly(MacroEngine& engine, std::int64_t count) {
    setResult(engine, Text());
    if (parameterCount(engine) == count) return true;
    errorCountExact(engine, count);
    return false;
}

// With w above 1 the quaternion is replaced by the squares of its components.
Hyper squaredWhenOutside(const Hyper& q) {
    if (q.x <= 1) return q;
    return {q.x * q.x, q.y * q.y, q.z * q.z, q.w * q.w};
}

// quat <axis> <angle>
void quat(MacroEngine& engine) {
    if (!exactly(engine, 2)) return;
    setResult(engine, vector4ToText(quaternionFromAxisAngle(vector3Of(parameterOrEmpty(engine, 1)),
                                                            realOf(parameterOrEmpty(engine, 2)))));
}

// quat.vector <quaternion>
void quatVector(MacroEngine& engine) {
    if (!exactly(engine, 1)) return;
    setResult(engine, vector3Text(quaternionAxis(squaredWhenOutside(vector4Of(parameterOrEmpty(engine, 1))))));
}

// quat.angle <quaternion>
void quatAngle(MacroEngine& engine) {
    if (!exactly(engine, 1)) return;
    setResult(engine, realToText(quaternionAngle(squaredWhenOutside(vector4Of(parameterOrEmpty(engine, 1))))));
}

// quat.conjugate <quaternion>
void quatConjugate(MacroEngine& engine) {
    if (!exactly(engine, 1)) return;
    setResult(engine, vector4ToText(quaternionConjugate(vector4Of(parameterOrEmpty(engine, 1)))));
}

// quat.mul <a> <b>: b a, the first on the right
void quatMul(MacroEngine& engine) {
    if (!exactly(engine, 2)) return;
    setResult(engine, vector4ToText(quaternionProduct(vector4Of(parameterOrEmpty(engine, 2)), vector4Of(parameterOrEmpty(engine, 1)))));
}

// quat.join <a> <b>: a b
void quatJoin(MacroEngine& engine) {
    if (!exactly(engine, 2)) return;
    setResult(engine, vector4ToText(quaternionProduct(vector4Of(parameterOrEmpty(engine, 1)), vector4Of(parameterOrEmpty(engine, 2)))));
}

// quat.transform <quaternion> <vector>
void quatTransform(MacroEngine& engine) {
    if (!exactly(engine, 2)) return;
    setResult(engine, vector3Text(quaternionRotate(vector4Of(parameterOrEmpty(engine, 1)), vector3Of(parameterOrEmpty(engine, 2)))));
}

// ---- matrix parameters -----------------------------------------------------------

double& cell(Matrix4& m, int row, int column) {
    Vector4& r = m.rows[row];
    return column == 0 ? r.x : column == 1 ? r.y : column == 2 ? r.z : r.w;
}

double& cell(Matrix3& m, int row, int column) {
    Vector3& r = m.rows[row];
    return column == 0 ? r.x : column == 1 ? r.y : r.z;
}

// A 4-by-4 from parameters from `first` on: sixteen numbers in column
// order, or one parameter that holds the whole matrix.
bool matrix4At(MacroEngine& engine, std::int64_t first, Matrix4& m) {
    const std::int64_t count = parameterCount(engine) - first + 1;
    if (count >= 16) {
        for (int k = 0; k < 16; ++k) cell(m, k % 4, k / 4) = realOf(parameterOrEmpty(engine, first + k));
        return true;
    }
    if (count >= 1) {
        Text text = parameterOrEmpty(engine, first);
        m = readMatrix4(text);
        return true;
    }
    errorCountMin(engine, 1);
    return false;
}

// A 3-by-3 from nine numbers in column order, three rows, or one parameter
// cut at ';' into rows.
bool matrix3At(MacroEngine& engine, Matrix3& m) {
    const std::int64_t count = parameterCount(engine);
    if (count >= 9) {
        for (int k = 0; k < 9; ++k) cell(m, k % 3, k / 3) = realOf(parameterOrEmpty(engine, k + 1));
    } else if (count >= 3) {
        for (int row = 0; row < 3; ++row) m.rows[row] = vector3Of(parameterOrEmpty(engine, row + 1));
    } else if (count == 1) {
        Text text = parameterOrEmpty(engine, 1);
        if (text.findChar(';') == 0) {
            m = readMatrix3(text);
        } else {
            for (Vector3& row : m.rows) {
                Text piece = text.beforeFirst(";");
                text = text.findChar(';') ? text.afterFirst(";") : Text();
                row = readVector3(piece);
            }
        }
    } else {
        errorCountMin(engine, 1);
        return false;
    }
    return true;
}

Symmetric3 tensorOf(const Matrix3& m) {
    return {{m.rows[0].x, m.rows[1].y, m.rows[2].z}, {m.rows[0].y, m.rows[0].z, m.rows[1].z}};
}

const Matrix4 unit4 = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};

// ---- matrix commands ----------------------------------------------------------------

// matrix2quat <matrix>: sixteen numbers or a 4-by-4 text give the 4-by-4 form.
void matrixToQuat(MacroEngine& engine) {
    setResult(engine, Text());
    if (parameterCount(engine) >= 16) {
        Matrix4 m;
        matrix4At(engine, 1, m);
        setResult(engine, vector4ToText(quaternionFromMatrix(m)));
        return;
    }
    Matrix3 m;
    if (matrix3At(engine, m)) setResult(engine, vector4ToText(quaternionFromMatrix(m)));
}

// quat2matrix <quaternion>
void quatToMatrix(MacroEngine& engine) {
    if (!exactly(engine, 1)) return;
    setResult(engine, matrix3ToText(quaternionToMatrix(vector4Of(parameterOrEmpty(engine, 1)))));
}

// matrix <row> <row> <row> <row> [<scale>]: rows over the unit matrix. With
// five vectors the first three are the rotation rows, the fourth the
// translation and the fifth scales the rows.
void matrixBuild(MacroEngine& engine) {
    setResult(engine, Text());
    const std::int64_t count = parameterCount(engine);
    if (count < 1) {
        errorCountMin(engine, 1);
        return;
    }
    Matrix4 m = unit4;
    if (count >= 5) {
        for (int row = 0; row < 3; ++row) {
            const Vector3 v = vector3Of(parameterOrEmpty(engine, row + 1));
            m.rows[row] = {v.x, v.y, v.z, 0};
        }
        const Vector3 move = vector3Of(parameterOrEmpty(engine, 4));
        const Vector3 factors = vector3Of(parameterOrEmpty(engine, 5));
        const double f[3] = {factors.x, factors.y, factors.z}, t[3] = {move.x, move.y, move.z};
        for (int row = 0; row < 3; ++row) {
            m.rows[row] = scale(m.rows[row], f[row]);
            m.rows[row].w = t[row];
        }
    } else {
        // Components a row text leaves out keep the unit matrix's value.
        for (int row = 0; row < count; ++row) {
            Text text = parameterOrEmpty(engine, row + 1);
            for (int column = 0; column < 4 && !text.trim(' ').empty(); ++column) cell(m, row, column) = readReal(text);
        }
    }
    setResult(engine, matrix4ToText(m));
}

template <class Answer>
void withMatrix4(MacroEngine& engine, Answer answer) {
    setResult(engine, Text());
    Matrix4 m;
    if (matrix4At(engine, 1, m)) setResult(engine, answer(m));
}

template <class Answer>
void withMatrix3(MacroEngine& engine, Answer answer) {
    setResult(engine, Text());
    Matrix3 m;
    if (matrix3At(engine, m)) setResult(engine, answer(m));
}

// matrix.trace <4x4>
void matrixTrace(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) { return vector4ToText({m.rows[0].x, m.rows[1].y, m.rows[2].z, m.rows[3].w}); });
}

// matrix.v1 .. matrix.v4 <4x4>
template <int row>
void matrixRow(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) { return vector4ToText(m.rows[row]); });
}

// matrix.rotation <3x3>: the rows made unit length
void matrixRotation(MacroEngine& engine) {
    withMatrix3(engine, [](const Matrix3& m) {
        return matrix3ToText({{normalise(m.rows[0]), normalise(m.rows[1]), normalise(m.rows[2])}});
    });
}

Matrix3 upper3(const Matrix4& m) {
    return {{{m.rows[0].x, m.rows[0].y, m.rows[0].z}, {m.rows[1].x, m.rows[1].y, m.rows[1].z},
             {m.rows[2].x, m.rows[2].y, m.rows[2].z}}};
}

// matrix.rotation.get <4x4>
void matrixRotationGet(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) { return matrix3ToText(upper3(m)); });
}

// The unit matrix or a given one, changed by the last parameter's vector.
template <class Change>
void matrixWithVector(MacroEngine& engine, Change change) {
    setResult(engine, Text());
    const std::int64_t count = parameterCount(engine);
    if (count < 1) {
        errorCountMin(engine, 1);
        return;
    }
    Matrix4 m = unit4;
    if (count > 1) matrix4At(engine, 1, m);
    change(m, vector3Of(parameterOrEmpty(engine, count)));
    setResult(engine, matrix4ToText(m));
}

// matrix.scale <vector> | <matrix> <vector>
void matrixScale(MacroEngine& engine) {
    matrixWithVector(engine, [](Matrix4& m, const Vector3& factors) {
        m.rows[0] = scale(m.rows[0], factors.x);
        m.rows[1] = scale(m.rows[1], factors.y);
        m.rows[2] = scale(m.rows[2], factors.z);
    });
}

// matrix.scale.get <4x4>: lengths of the three rows
void matrixScaleGet(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) {
        const Matrix3 r = upper3(m);
        return vector3Text({length(r.rows[0]), length(r.rows[1]), length(r.rows[2])});
    });
}

// matrix.move <vector> | <matrix> <vector>: the translation in the fourth column
void matrixMove(MacroEngine& engine) {
    matrixWithVector(engine, [](Matrix4& m, const Vector3& move) {
        m.rows[0].w = move.x;
        m.rows[1].w = move.y;
        m.rows[2].w = move.z;
    });
}

// matrix.move.get <4x4>
void matrixMoveGet(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) { return vector3Text({m.rows[0].w, m.rows[1].w, m.rows[2].w}); });
}

// matrix.eigen <3x3>
void matrixEigen(MacroEngine& engine) {
    withMatrix3(engine, [](const Matrix3& m) { return vector3Text(eigenValues(tensorOf(m))); });
}

// matrix.e1 .. matrix.e3 <3x3>
template <int index>
void matrixEigenvalue(MacroEngine& engine) {
    withMatrix3(engine, [](const Matrix3& m) {
        const Vector3 values = eigenValues(tensorOf(m));
        return realToText(index == 0 ? values.x : index == 1 ? values.y : values.z);
    });
}

// matrix.ev1 .. matrix.ev3 <3x3>
template <int index>
void matrixEigenvector(MacroEngine& engine) {
    withMatrix3(engine, [](const Matrix3& m) { return vector3Text(eigenVectors(tensorOf(m)).rows[index]); });
}

// matrix.fa <3x3>: sqrt(3/2) |l - m| / |l| of the eigenvalues l and their mean m
void matrixFa(MacroEngine& engine) {
    withMatrix3(engine, [](const Matrix3& m) {
        const Vector3 l = eigenValues(tensorOf(m));
        const double mean = (l.x + l.y + l.z) / 3;
        const double size = length(l);
        if (size == 0) return realToText(0);
        return realToText(std::sqrt(1.5) * length(Vector3{l.x - mean, l.y - mean, l.z - mean}) / size);
    });
}

// matrix.transpose <4x4>
void matrixTranspose(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) { return matrix4ToText(transpose(m)); });
}

// matrix.inverse <4x4>
void matrixInverse(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) { return matrix4ToText(inverse(m)); });
}

// matrix.join <matrix> <matrix>: the product
void matrixJoin(MacroEngine& engine) {
    if (!exactly(engine, 2)) return;
    Text first = parameterOrEmpty(engine, 1), second = parameterOrEmpty(engine, 2);
    setResult(engine, matrix4ToText(multiply(readMatrix4(first), readMatrix4(second))));
}

// matrix.transform <matrix> <vector>: the vector as a point, w = 1
void matrixTransform(MacroEngine& engine) {
    setResult(engine, Text());
    if (parameterCount(engine) < 2) {
        errorCountMin(engine, 2);
        return;
    }
    Matrix4 m;
    matrix4At(engine, 1, m);
    setResult(engine, vector3Text(applyToPoint(m, vector3Of(parameterOrEmpty(engine, parameterCount(engine))))));
}

// matrix.vector <4x4>: the rows as vectors
void matrixVector(MacroEngine& engine) {
    withMatrix4(engine, [](const Matrix4& m) {
        return vector4ToText(m.rows[0]) + " " + vector4ToText(m.rows[1]) + " " + vector4ToText(m.rows[2]) + " " +
               vector4ToText(m.rows[3]);
    });
}

// matrix.space <4x4>: the twelve numbers of the three upper rows, as a
// space of three axes with their offsets
void matrixSpace(MacroEngine& engine) {
    withMatrix4(engine, [](Matrix4 m) {
        Text numbers;
        for (int row = 0; row < 3; ++row) {
            for (int column = 0; column < 4; ++column) {
                if (row + column > 0) numbers += " ";
                numbers += realToText(cell(m, row, column));
            }
        }
        return numbers;
    });
}

}  // namespace

void registerMathsCommands(MacroEngine& engine) {
    registerOptionProcedure(engine, "math.scientific", switchSetting<&NumberSettings::ScientificMode>);
    registerOptionProcedure(engine, "math.decimal",    switchSetting<&NumberSettings::DecimalPointMode>);
    registerOptionProcedure(engine, "math.digit",      switchSetting<&NumberSettings::ThousandsMode>);
    registerOptionProcedure(engine, "math.leading",    numberSetting<&NumberSettings::leading>);
    registerOptionProcedure(engine, "math.trailing",   numberSetting<&NumberSettings::trailing>);
    registerOptionProcedure(engine, "math.degree",     switchSetting<&NumberSettings::degree>);
    registerOptionProcedure(engine, "math.vector",     switchSetting<&NumberSettings::vector>);
    registerOptionProcedure(engine, "math.matrix",     switchSetting<&NumberSettings::matrix>);
    registerFunction       (engine, "math.minnorm",    mathMinNorm);
    registerFunction       (engine, "math.norm",       mathNorm);
    registerFunction       (engine, "math.maxnorm",    mathMaxNorm);
    registerFunction       (engine, "math.length",     mathLength);
    registerFunction       (engine, "math.angle",      mathAngle);

    registerFunction(engine, "quat",                quat);
    registerFunction(engine, "quat.vector",         quatVector);
    registerFunction(engine, "quat.angle",          quatAngle);
    registerFunction(engine, "quat.conjugate",      quatConjugate);
    registerFunction(engine, "quat.mul",            quatMul);
    registerFunction(engine, "quat.join",           quatJoin);
    registerFunction(engine, "quat.transform",      quatTransform);
    registerFunction(engine, "matrix2quat",         matrixToQuat);
    registerFunction(engine, "quat2matrix",         quatToMatrix);

    registerFunction(engine, "matrix",              matrixBuild);
    registerFunction(engine, "matrix.trace",        matrixTrace);
    registerFunction(engine, "matrix.v1",           matrixRow<0>);
    registerFunction(engine, "matrix.v2",           matrixRow<1>);
    registerFunction(engine, "matrix.v3",           matrixRow<2>);
    registerFunction(engine, "matrix.v4",           matrixRow<3>);
    registerFunction(engine, "matrix.rotation",     matrixRotation);
    registerFunction(engine, "matrix.rotation.get", matrixRotationGet);
    registerFunction(engine, "matrix.scale",        matrixScale);
    registerFunction(engine, "matrix.scale.get",    matrixScaleGet);
    registerFunction(engine, "matrix.move",         matrixMove);
    registerFunction(engine, "matrix.move.get",     matrixMoveGet);
    registerFunction(engine, "matrix.eigen",        matrixEigen);
    registerFunction(engine, "matrix.e1",           matrixEigenvalue<0>);
    registerFunction(engine, "matrix.e2",           matrixEigenvalue<1>);
    registerFunction(engine, "matrix.e3",           matrixEigenvalue<2>);
    registerFunction(engine, "matrix.ev1",          matrixEigenvector<0>);
    registerFunction(engine, "matrix.ev2",          matrixEigenvector<1>);
    registerFunction(engine, "matrix.ev3",          matrixEigenvector<2>);
    registerFunction(engine, "matrix.fa",           matrixFa);
    registerFunction(engine, "matrix.transpose",    matrixTranspose);
    registerFunction(engine, "matrix.inverse",      matrixInverse);
    registerFunction(engine, "matrix.join",         matrixJoin);
    registerFunction(engine, "matrix.transform",    matrixTransform);
    registerFunction(engine, "matrix.vector",       matrixVector);
    registerFunction(engine, "matrix.space",        matrixSpace);
}

}  // namespace corvane
