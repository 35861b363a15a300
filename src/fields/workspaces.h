// The six workspace lists: every field, mesh and line cloud lives under an
// upper-case name in the list of its family, one entry of which is in use.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/nameindex.h"
#include "fields/fieldrecords.h"
#include "foundation/text.h"
#include "geometry/meshrecords.h"

namespace corvane {

struct MacroEngine;

// Names as the lists keep them: upper case on the low bytes, at most 254
// characters.
Text workspaceName(const Text& name);

// Objects at stable 1-based indices in creation order. Names may repeat
// after a rename; lookups find the first index of a name through an index.
template <class Object>
class WorkspaceList {
public:
    std::int64_t count() const { return static_cast<std::int64_t>(objects_.size()); }
    bool empty() const { return objects_.empty(); }
    std::int64_t currentIndex() const { return current_; }
    bool currentValid() const { return current_ >= 1 && current_ <= count(); }
    Object* current() const { return currentValid() ? objects_[current_ - 1].get() : nullptr; }
    Object* at(std::int64_t index) const {
        return index >= 1 && index <= count() ? objects_[index - 1].get() : nullptr;
    }
    const Text& nameAt(std::int64_t index) const;
    // First index of a name in list form, 0 when missing.
    std::int64_t find(const Text& name) const;

    // Appends a new object under a name in list form; the index.
    std::int64_t append(const Text& name, std::unique_ptr<Object> object);
    void select(std::int64_t index) { current_ = index; }
    void rename(std::int64_t index, const Text& name);
    // Teardown: the names, then the objects from the first, then the list.
    void clear();

private:
    std::vector<std::unique_ptr<Object>> objects_;
    std::vector<Text> names_;
    NameIndex indicesByName_;
    std::int64_t current_ = 0;
};

struct Workspaces {
    WorkspaceList<ImageField> images;
    WorkspaceList<ScalarField> scalars;
    WorkspaceList<VectorField> vectors;
    WorkspaceList<TensorField> tensors;
    WorkspaceList<Mesh> meshes;
    WorkspaceList<LineCloud> lines;
};
extern Workspaces workspaces;

// The list that holds a family's objects.
template <class Object>
WorkspaceList<Object>& workspaceList();
template <> inline WorkspaceList<ImageField>& workspaceList() { return workspaces.images; }
template <> inline WorkspaceList<ScalarField>& workspaceList() { return workspaces.scalars; }
template <> inline WorkspaceList<VectorField>& workspaceList() { return workspaces.vectors; }
template <> inline WorkspaceList<TensorField>& workspaceList() { return workspaces.tensors; }
template <> inline WorkspaceList<Mesh>& workspaceList() { return workspaces.meshes; }
template <> inline WorkspaceList<LineCloud>& workspaceList() { return workspaces.lines; }

// Start, clear, clean and new: the default kinds back to their start values,
// then every list rebuilt with one entry DEFAULT in use.
void resetWorkspaces();
// Program end: the lists released in reverse order.
void releaseWorkspaces();

// An object of the family's default kind, empty.
template <class Object>
std::unique_ptr<Object> newWorkspaceObject();

// The left side of `:=`: the named object, made when missing; no object, and
// the "Same illegal assigment" report, when the name is the one in use.
template <class Object>
Object* resolveTarget(MacroEngine& engine, WorkspaceList<Object>& list, const Text& name);
// As resolveTarget without the test against the object in use.
template <class Object>
Object* resolveOrCreate(WorkspaceList<Object>& list, const Text& name);
// A named source that must exist; no object after the "Empty ...[" report.
template <class Object>
Object* resolveExisting(MacroEngine& engine, WorkspaceList<Object>& list, const Text& name);

// What a function with `name := family.function` writes into: the target
// resolved as above, and the engine's target cleared so that no variable is
// made. Without an assignment the object in use.
template <class Object>
Object* assignmentTarget(MacroEngine& engine, WorkspaceList<Object>& list);

// The word the reports use for a list's objects: "imagefield", ..., "line".
template <class Object>
const char* familyWord();

}  // namespace corvane
