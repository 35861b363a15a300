#include "fields/workspaces.h"

#include <algorithm>

#include "engine/parameters.h"

namespace corvane {

Workspaces workspaces;

Text workspaceName(const Text& name) {
    Text upper = name.upperCase();
    if (upper.length() > shortTextCapacity) upper = upper.copy(1, shortTextCapacity);
    return upper;
}

template <class Object>
const Text& WorkspaceList<Object>::nameAt(std::int64_t index) const {
    static const Text none;
    return index >= 1 && index <= static_cast<std::int64_t>(names_.size()) ? names_[index - 1] : none;
}

template <class Object>
std::int64_t WorkspaceList<Object>::find(const Text& name) const {
    const NameKeyView key(name);
    const auto hit = indicesByName_.find(key.view());
    return hit == indicesByName_.end() || hit->second.empty() ? 0 : hit->second.front();
}

template <class Object>
std::int64_t WorkspaceList<Object>::append(const Text& name, std::unique_ptr<Object> object) {
    objects_.push_back(std::move(object));
    names_.push_back(name);
    const NameKeyView key(name);
    entryOf(indicesByName_, key.view()).push_back(count());
    return count();
}

template <class Object>
void WorkspaceList<Object>::rename(std::int64_t index, const Text& name) {
    if (index < 1 || index > count()) return;
    {
        const NameKeyView oldKey(names_[index - 1]);
        std::vector<std::int64_t>& old = entryOf(indicesByName_, oldKey.view());
        old.erase(std::remove(old.begin(), old.end(), index), old.end());
    }
    names_[index - 1] = name;
    const NameKeyView key(name);
    std::vector<std::int64_t>& indices = entryOf(indicesByName_, key.view());
    indices.insert(std::lower_bound(indices.begin(), indices.end(), index), index);
}

template <class Object>
void WorkspaceList<Object>::clear() {
    names_.clear();
    indicesByName_.clear();
    for (auto& object : objects_) object.reset();
    objects_.clear();
    current_ = 0;
}

template <>
std::unique_ptr<ImageField> newWorkspaceObject<ImageField>() {
    auto field = std::make_unique<ImageField>();
    newField(*field, defaultKinds.image);
    return field;
}
template <>
std::unique_ptr<ScalarField> newWorkspaceObject<ScalarField>() {
    auto field = std::make_unique<ScalarField>();
    newField(*field, defaultKinds.scalar);
    return field;
}
template <>
std::unique_ptr<VectorField> newWorkspaceObject<VectorField>() {
    auto field = std::make_unique<VectorField>();
    newField(*field, defaultKinds.vector);
    return field;
}
template <>
std::unique_ptr<TensorField> newWorkspaceObject<TensorField>() {
    auto field = std::make_unique<TensorField>();
    newField(*field, defaultKinds.tensor);
    return field;
}
template <>
std::unique_ptr<Mesh> newWorkspaceObject<Mesh>() {
    return std::make_unique<Mesh>();
}
template <>
std::unique_ptr<LineCloud> newWorkspaceObject<LineCloud>() {
    return std::make_unique<LineCloud>();
}

template <> const char* familyWord<ImageField>() { return "imagefield"; }
template <> const char* familyWord<ScalarField>() { return "scalarfield"; }
template <> const char* familyWord<VectorField>() { return "vectorfield"; }
template <> const char* familyWord<TensorField>() { return "tensorfield"; }
template <> const char* familyWord<Mesh>() { return "mesh"; }
template <> const char* familyWord<LineCloud>() { return "line"; }

namespace {

template <class Object>
void rebuild(WorkspaceList<Object>& list) {
    list.clear();
    list.select(list.append("DEFAULT", newWorkspaceObject<Object>()));
}

Text nameOrDefault(const Text& name) { return workspaceName(name.empty() ? Text("DEFAULT") : name); }

}  // namespace

void resetWorkspaces() {
    defaultKinds = DefaultKinds();
    rebuild(workspaces.images);
    rebuild(workspaces.scalars);
    rebuild(workspaces.vectors);
    rebuild(workspaces.tensors);
    rebuild(workspaces.meshes);
    rebuild(workspaces.lines);
}

void releaseWorkspaces() {
    workspaces.lines.clear();
    workspaces.meshes.clear();
    workspaces.tensors.clear();
    workspaces.vectors.clear();
    workspaces.scalars.clear();
    workspaces.images.clear();
}

template <class Object>
Object* resolveOrCreate(WorkspaceList<Object>& list, const Text& name) {
    const Text listed = nameOrDefault(name);
    const std::int64_t index = list.find(listed);
    if (index >= 1 && index <= list.count()) return list.at(index);
    return list.at(list.append(listed, newWorkspaceObject<Object>()));
}

template <class Object>
Object* resolveTarget(MacroEngine& engine, WorkspaceList<Object>& list, const Text& name) {
    const Text listed = nameOrDefault(name);
    const std::int64_t index = list.find(listed);
    if (index != 0 && index == list.currentIndex()) {
        const Text word(familyWord<Object>());
        reportSyntaxError(engine, "Same illegal assigment (" + word + "[" + list.nameAt(list.currentIndex()) +
                                      "] := function " + word + "[" + list.nameAt(index) + "])!");
        return nullptr;
    }
    return resolveOrCreate(list, listed);
}

template <class Object>
Object* resolveExisting(MacroEngine& engine, WorkspaceList<Object>& list, const Text& name) {
    const Text listed = nameOrDefault(name);
    const std::int64_t index = list.find(listed);
    if (index < 1 || index > list.count()) {
        reportError(engine, "Empty " + Text(familyWord<Object>()) + "[" + listed + "]");
        return nullptr;
    }
    return list.at(index);
}

template <class Object>
Object* assignmentTarget(MacroEngine& engine, WorkspaceList<Object>& list) {
    const Text target = getTarget(engine);
    if (target.empty()) return list.current();
    setTarget(engine, Text());
    return resolveTarget(engine, list, target);
}

#define CORVANE_WORKSPACE_OBJECT(Object)                                                       \
    template Object* assignmentTarget(MacroEngine&, WorkspaceList<Object>&);                   \
    template class WorkspaceList<Object>;                                                      \
    template Object* resolveOrCreate(WorkspaceList<Object>&, const Text&);                     \
    template Object* resolveTarget(MacroEngine&, WorkspaceList<Object>&, const Text&);         \
    template Object* resolveExisting(MacroEngine&, WorkspaceList<Object>&, const Text&);

CORVANE_WORKSPACE_OBJECT(ImageField)
CORVANE_WORKSPACE_OBJECT(ScalarField)
CORVANE_WORKSPACE_OBJECT(VectorField)
CORVANE_WORKSPACE_OBJECT(TensorField)
CORVANE_WORKSPACE_OBJECT(Mesh)
CORVANE_WORKSPACE_OBJECT(LineCloud)

#undef CORVANE_WORKSPACE_OBJECT

}  // namespace corvane
