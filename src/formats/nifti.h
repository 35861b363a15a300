// NIfTI-1 and Analyze 7.5 volumes: one-file (.nii), pair (.hdr + .img) and
// their gzip forms. Readers for every field kind, writers for every kind,
// the header's geometry and the header dump of the info commands.
#pragma once

#include <cstdint>
#include <vector>

#include "fields/fieldrecords.h"
#include "formats/niftiheader.h"
#include "foundation/text.h"

namespace corvane {

// Readers: the field is made anew in `kind` and filled from the file; the
// stack counts from 1, and from the end when negative. Every failure prints
// its line and leaves an empty field (or, where the format says, a zero
// field) carrying the file name. `gzip` selects the stream reader.
void loadNifti(ScalarField& field, VoxelKind kind, const Text& fileName, std::int64_t stack, bool gzip);
void loadNifti(VectorField& field, VoxelKind kind, const Text& fileName, std::int64_t stack, bool gzip);
void loadNifti(TensorField& field, VoxelKind kind, const Text& fileName, std::int64_t stack, bool gzip);

// The header alone, through the same opening rules and messages; false
// after a printed failure.
bool readNiftiHeader(const Text& fileName, bool gzip, NiftiHeader& header);
// Matrix and offset a header gives a field, with the zero-column repair.
FieldGeometry niftiGeometry(const NiftiHeader& header);
// Matrix and offset into a field; vector and tensor fields keep the inverse.
void setFieldGeometry(ScalarField& field, const FieldGeometry& geometry);
void setFieldGeometry(VectorField& field, const FieldGeometry& geometry);
void setFieldGeometry(TensorField& field, const FieldGeometry& geometry);
// "  Transformation: " matrix " + " offset.
void reportTransformation(const FieldGeometry& geometry);

// Writers. The form follows from `form`: "nii", "hdr" (pair) or "nii.gz";
// the name gets that extension when it has none of it. A vector field of
// the rgb kind is written as 3DRGB; `scale` multiplies the components of
// the other vector kinds.
void saveNifti(const ScalarField& field, const Text& fileName, const Text& form);
void saveNifti(const VectorField& field, const Text& fileName, const Text& form, const Vector3& scale);
void saveNifti(const TensorField& field, const Text& fileName, const Text& form);

// The header a writer puts before data of this kind and size, geometry
// included; `vectorTerms` is 0 for scalar and rgb data, 3 for vectors and 6
// for tensors.
NiftiHeader niftiHeaderFor(VoxelKind kind, const IntVector3& size, const FieldGeometry& geometry, int vectorTerms,
                           bool oneFile);

// The lines of the header dump of `info`, title first.
std::vector<Text> niftiHeaderDump(const NiftiHeader& header);

}  // namespace corvane
