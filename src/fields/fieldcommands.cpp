#include "fields/fieldcommands.h"

#include <cmath>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "fields/workspaces.h"
#include "foundation/maths.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

// ---- per family ------------------------------------------------------------------

template <class Field>
constexpr bool isImage = std::is_same_v<Field, ImageField>;

// Vector and tensor fields keep the inverse in step; the others hold the matrix alone.
template <class Field>
void storeMatrix(Field& field, const Matrix3& matrix) {
    if constexpr (requires { field.geometry.inverse; }) {
        setMatrix(field.geometry, matrix);
    } else {
        field.geometry.matrix = matrix;
    }
}

// Sizes as reals; an image has two axes, its z counts as 0.
template <class Field>
Vector3 realSize(const Field& field) {
    const IntVector3 size = fieldSize(field);
    return {static_cast<double>(size.x), static_cast<double>(size.y), isImage<Field> ? 0.0 : static_cast<double>(size.z)};
}

template <class Field>
Text sizeVector(const Vector3& v, VectorStyle style) {
    if constexpr (isImage<Field>) return vector2ToText({v.x, v.y}, style);
    return vector3ToText(v, style);
}

template <class Field>
Vector3 centreOf(const Field& field) {
    return scale(realSize(field), 0.5);
}

// Local voxel position to world: the offset comes off, then each axis times its row.
Vector3 localToGlobal(const FieldGeometry& geometry, const Vector3& local) {
    return apply(transpose(geometry.matrix), subtract(local, geometry.offset));
}

Vector3 globalToLocal(const FieldGeometry& geometry, const Vector3& global) {
    return add(apply(transpose(inverse(geometry.matrix)), global), geometry.offset);
}

template <class Field>
Field& fieldInUse() {
    static Field none;  // stands in when the list has nothing in use; it stays empty
    Field* field = workspaceList<Field>().current();
    return field != nullptr ? *field : none;
}

// A position or factor vector: one parameter holding the vector, or one
// number for each component.
Vector3 vectorParameters(MacroEngine& engine) {
    const std::int64_t count = parameterCount(engine);
    if (count <= 1) return vector3Of(parameterOrEmpty(engine, 1));
    double parts[3] = {};
    for (std::int64_t i = 1; i <= count && i <= 3; ++i) parts[i - 1] = realOf(parameterOrEmpty(engine, i));
    return {parts[0], parts[1], parts[2]};
}

// ---- variable functions ------------------------------------------------------------

template <class Field>
void sizeFunction(MacroEngine& engine) {
    const IntVector3 size = fieldSize(fieldInUse<Field>());
    setResult(engine, isImage<Field> ? "<" + integerToText(size.x) + ", " + integerToText(size.y) + ">"
                                     : intVector3ToText(size));
}

template <class Field>
void centreFunction(MacroEngine& engine) {
    setResult(engine, sizeVector<Field>(centreOf(fieldInUse<Field>()), VectorStyle::real));
}

template <class Field>
void offsetFunction(MacroEngine& engine) {
    setResult(engine, vector3ToText(fieldInUse<Field>().geometry.offset));
}

template <class Field>
void originFunction(MacroEngine& engine) {
    setResult(engine, vector3ToText(localToGlobal(fieldInUse<Field>().geometry, {})));
}

template <class Field>
void offsetCentreFunction(MacroEngine& engine) {
    setResult(engine, vector3ToText(centreOf(fieldInUse<Field>())));
}

template <class Field>
void originCentreFunction(MacroEngine& engine) {
    const Field& field = fieldInUse<Field>();
    setResult(engine, vector3ToText(localToGlobal(field.geometry, centreOf(field))));
}

template <class Field>
void matrixFunction(MacroEngine& engine) {
    setResult(engine, matrix3ToText(fieldInUse<Field>().geometry.matrix));
}

template <class Field, int row>
void matrixRowFunction(MacroEngine& engine) {
    setResult(engine, vector3ToText(fieldInUse<Field>().geometry.matrix.rows[row]));
}

// ---- functions ------------------------------------------------------------------------

template <class Field>
void localToGlobalFunction(MacroEngine& engine) {
    setResult(engine, vector3ToText(localToGlobal(fieldInUse<Field>().geometry, vectorParameters(engine))));
}

template <class Field>
void globalToLocalFunction(MacroEngine& engine) {
    const Vector3 local = globalToLocal(fieldInUse<Field>().geometry, vectorParameters(engine));
    setResult(engine, intVector3ToText({roundReal(local.x), roundReal(local.y), roundReal(local.z)}));
}

// Column c of the matrix, the axis lengths that scale and unrotate read.
Vector3 columnLengths(const Matrix3& m) {
    const Matrix3 columns = transpose(m);
    return {length(columns.rows[0]), length(columns.rows[1]), length(columns.rows[2])};
}

template <class Field>
void scaleFunction(MacroEngine& engine) {
    setResult(engine, vector3ToText(columnLengths(fieldInUse<Field>().geometry.matrix)));
}

// ---- procedures ----------------------------------------------------------------------

template <class Field>
void centreProcedure() {
    Field& field = fieldInUse<Field>();
    field.geometry.offset = centreOf(field);
}

template <class Field>
void unflipProcedure() {
    Field& field = fieldInUse<Field>();
    Matrix3 m = field.geometry.matrix;
    for (Vector3& row : m.rows) row = absolute(row);
    storeMatrix(field, m);
}

template <class Field>
void unrotateProcedure() {
    Field& field = fieldInUse<Field>();
    const Vector3 lengths = columnLengths(field.geometry.matrix);
    storeMatrix(field, Matrix3{{{lengths.x, 0, 0}, {0, lengths.y, 0}, {0, 0, lengths.z}}});
}

template <FieldFamily family, VoxelKind kind>
void bitLevelProcedure() {
    switch (family) {
        case FieldFamily::image: defaultKinds.image = kind; break;
        case FieldFamily::scalar: defaultKinds.scalar = kind; break;
        case FieldFamily::vector: defaultKinds.vector = kind; break;
        case FieldFamily::tensor: defaultKinds.tensor = kind; break;
    }
}

// ---- option procedures --------------------------------------------------------------

template <class Field>
void offsetProcedure(MacroEngine& engine) {
    fieldInUse<Field>().geometry.offset = parameterCount(engine) == 0 ? Vector3{} : vectorParameters(engine);
}

template <class Field>
void originProcedure(MacroEngine& engine) {
    Field& field = fieldInUse<Field>();
    // The offset that puts local <0, 0, 0> at the given world position.
    FieldGeometry atZero{field.geometry.matrix, {}};
    field.geometry.offset = negate(globalToLocal(atZero, vectorParameters(engine)));
}

template <class Field>
void matrixProcedure(MacroEngine& engine) {
    const std::int64_t count = parameterCount(engine);
    if (count != 1 && count != 3) {
        errorCountExact(engine, 3);
        return;
    }
    Matrix3 m;
    if (count == 1) {
        Text whole = parameterOrEmpty(engine, 1);
        m = readMatrix3(whole);
    } else {
        for (int row = 0; row < 3; ++row) m.rows[row] = vector3Of(parameterOrEmpty(engine, row + 1));
    }
    storeMatrix(fieldInUse<Field>(), m);
}

template <class Field>
void scaleProcedure(MacroEngine& engine) {
    const Vector3 factors = absolute(vectorParameters(engine));
    storeMatrix(fieldInUse<Field>(), Matrix3{{{factors.x, 0, 0}, {0, factors.y, 0}, {0, 0, factors.z}}});
}

// A parameter holding a blank, a comma or a semicolon is a vector.
bool holdsVector(const Text& text) {
    return text.findChar(' ') != 0 || text.findChar(',') != 0 || text.findChar(';') != 0;
}

// The colour of a value or background command: a number spread over the
// channels, a colour, or a colour and a separate alpha.
bool colourParameters(MacroEngine& engine, Vector4& colour) {
    const std::int64_t count = parameterCount(engine);
    if (count < 1) {
        errorCountMin(engine, 1);
        return false;
    }
    const Text first = parameterOrEmpty(engine, 1);
    if (!holdsVector(first)) {
        colour = spreadOverChannels(realOf(first));
        return true;
    }
    const Vector3 rgb = vector3Of(first);
    colour = {rgb.x, rgb.y, rgb.z, count >= 2 ? realOf(parameterOrEmpty(engine, 2)) : 255.0};
    return true;
}

// value and background of an image: a number, a colour, or colour and alpha.
template <void (*store)(ImageField&, const Vector4&)>
void imageColourProcedure(MacroEngine& engine) {
    Vector4 colour;
    if (colourParameters(engine, colour)) store(fieldInUse<ImageField>(), colour);
}

// value and background of a scalar field: one number.
template <void (*store)(ScalarField&, double)>
void scalarLevelProcedure(MacroEngine& engine) {
    if (parameterCount(engine) < 1) {
        errorCountMin(engine, 1);
        return;
    }
    store(fieldInUse<ScalarField>(), realOf(parameterOrEmpty(engine, 1)));
}

// new: the field in use made anew in its own kind, its name kept; with a
// size it is filled with the background, without one it is empty.
template <class Field>
void newProcedure(MacroEngine& engine) {
    Field& field = fieldInUse<Field>();
    if (!hasPayload(field)) return;
    const ShortText name = field.name;
    const Vector3 size = parameterCount(engine) == 0 ? Vector3{} : vectorParameters(engine);
    const std::int64_t x = truncateReal(size.x), y = truncateReal(size.y), z = truncateReal(size.z);
    if constexpr (isImage<Field>) {
        const Vector4 value = imageValue(field), background = imageBackground(field);
        newField(field, field.kind, x, y);
        setImageValue(field, value);
        setImageBackground(field, background);
    } else if constexpr (std::is_same_v<Field, ScalarField>) {
        const std::int64_t value = scalarValue(field), background = scalarBackground(field);
        newField(field, field.kind, x, y, z);
        setScalarValue(field, static_cast<double>(value));
        setScalarBackground(field, static_cast<double>(background));
    } else {
        newField(field, field.kind, x, y, z);
    }
    if constexpr (requires { fillWithBackground(field); }) fillWithBackground(field);
    field.name = name;
}

// ---- registration ----------------------------------------------------------------------

template <class Field>
void registerGeometry(MacroEngine& engine) {
    registerVariableFunction(engine, "size",          sizeFunction<Field>);
    registerVariableFunction(engine, "center",        centreFunction<Field>);
    registerVariableFunction(engine, "origin.center", originCentreFunction<Field>);
    registerVariableFunction(engine, "offset.center", offsetCentreFunction<Field>);
    registerVariableFunction(engine, "origin",        originFunction<Field>);
    registerVariableFunction(engine, "offset",        offsetFunction<Field>);
    registerVariableFunction(engine, "matrix",        matrixFunction<Field>);
    registerVariableFunction(engine, "matrix.v1",     matrixRowFunction<Field, 0>);
    registerVariableFunction(engine, "matrix.v2",     matrixRowFunction<Field, 1>);
    registerVariableFunction(engine, "matrix.v3",     matrixRowFunction<Field, 2>);
    registerProcedure(engine, "center",               centreProcedure<Field>);
    registerProcedure(engine, "origin.center",        centreProcedure<Field>);
    registerProcedure(engine, "offset.center",        centreProcedure<Field>);
    registerProcedure(engine, "unflip",               unflipProcedure<Field>);
    registerProcedure(engine, "unrotate",             unrotateProcedure<Field>);
    registerOptionProcedure(engine, "new",            newProcedure<Field>);
    registerOptionProcedure(engine, "origin",         originProcedure<Field>);
    registerOptionProcedure(engine, "offset",         offsetProcedure<Field>);
    registerOptionProcedure(engine, "matrix",         matrixProcedure<Field>);
    registerFunction(engine, "l2g",                   localToGlobalFunction<Field>);
    registerFunction(engine, "g2l",                   globalToLocalFunction<Field>);
    registerDualCommand(engine, "scale",              scaleProcedure<Field>, scaleFunction<Field>);
}

template <FieldFamily family, VoxelKind kind>
void registerBitLevels(MacroEngine& engine, std::initializer_list<const char*> words) {
    for (const char* word : words) registerProcedure(engine, word, bitLevelProcedure<family, kind>);
}

}  // namespace

void registerFieldCommands(MacroEngine& engine) {
    constexpr auto image = FieldFamily::image, scalar = FieldFamily::scalar;
    constexpr auto vector = FieldFamily::vector, tensor = FieldFamily::tensor;

    setRegistrationPrefix(engine, "image.");
    registerBitLevels<image, VoxelKind::imageGray>(engine, {"8bit", "byte", "gray"});
    registerBitLevels<image, VoxelKind::imageFullgray>(engine, {"16bit", "word", "nat", "fullgray", "hdrgray"});
    registerBitLevels<image, VoxelKind::imageRgb>(engine, {"24bit", "rgb"});
    registerBitLevels<image, VoxelKind::imageRgba>(engine, {"32bit", "rgba"});
    registerBitLevels<image, VoxelKind::imageZrgb>(engine, {"40bit"});
    registerOptionProcedure(engine, "value",      imageColourProcedure<setImageValue>);
    registerOptionProcedure(engine, "background", imageColourProcedure<setImageBackground>);
    registerGeometry<ImageField>(engine);

    setRegistrationPrefix(engine, "scalar.");
    registerBitLevels<scalar, VoxelKind::scalarMono>(engine, {"1bit", "bool"});
    registerBitLevels<scalar, VoxelKind::scalarGray>(engine, {"8bit", "byte"});
    registerBitLevels<scalar, VoxelKind::scalarFullgray>(engine, {"16bit", "word", "nat"});
    registerOptionProcedure(engine, "value",      scalarLevelProcedure<setScalarValue>);
    registerOptionProcedure(engine, "background", scalarLevelProcedure<setScalarBackground>);
    registerGeometry<ScalarField>(engine);

    setRegistrationPrefix(engine, "vector.");
    registerBitLevels<vector, VoxelKind::vectorNat>(engine, {"integer", "int32", "int64", "nat"});
    registerBitLevels<vector, VoxelKind::vectorFloat>(engine, {"float", "real"});
    registerBitLevels<vector, VoxelKind::vectorRgb>(engine, {"rgb", "24bit"});
    registerGeometry<VectorField>(engine);

    setRegistrationPrefix(engine, "tensor.");
    registerBitLevels<tensor, VoxelKind::vectorNat>(engine, {"integer", "int32", "int64", "nat"});
    registerBitLevels<tensor, VoxelKind::vectorFloat>(engine, {"float"});
    registerGeometry<TensorField>(engine);
    clearRegistrationPrefix(engine);
}

}  // namespace corvane
