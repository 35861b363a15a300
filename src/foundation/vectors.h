// Plain value records for vectors and matrices of reals and integers.
// Their arithmetic lives with the maths core; readers and printers with numbers.h.
#pragma once

#include <cstdint>

namespace corvane {

struct Vector2 { double x = 0, y = 0; };
struct Vector3 { double x = 0, y = 0, z = 0; };
struct Vector4 { double x = 0, y = 0, z = 0, w = 0; };

struct IntVector2 { std::int64_t x = 0, y = 0; };
struct IntVector3 { std::int64_t x = 0, y = 0, z = 0; };
struct IntVector4 { std::int64_t x = 0, y = 0, z = 0, w = 0; };

struct Matrix3 { Vector3 rows[3]; };
struct Matrix4 { Vector4 rows[4]; };

}  // namespace corvane
