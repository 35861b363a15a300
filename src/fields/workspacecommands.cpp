#include "fields/workspacecommands.h"

#include "engine/parameters.h"
#include "engine/registry.h"
#include "fields/workspaces.h"
#include "foundation/console.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

// What each list prints: its dump lines and the head of its use line.
struct ListWords {
    const char* dumpTitle;   // "dump.image"
    const char* inUse;       // "  Image ("
    const char* emptyLine;   // "  Imagelist empty!"
    const char* useHead;     // "Use image: ", null when use prints nothing
};

template <class Object>
ListWords listWords();
template <> ListWords listWords<ImageField>() { return {"dump.image", "  Image (", "  Imagelist empty!", "Use image: "}; }
template <> ListWords listWords<ScalarField>() { return {"dump.scalar", "  Scalar (", "  Scalarlist empty!", "Use scalar: "}; }
template <> ListWords listWords<VectorField>() {
    return {"dump.vector", "  Vector field (", "  Vector field list empty!", "Use vector: "};
}
template <> ListWords listWords<TensorField>() {
    return {"dump.tensor", "  Tensor field (", "  Tensor field list empty!", "Use tensor: "};
}
template <> ListWords listWords<Mesh>() { return {"dump.mesh", "  Mesh (", "  Meshlist empty!", nullptr}; }
template <> ListWords listWords<LineCloud>() { return {"dump.cloud", "  cloud (", "  Cloudlist empty!", nullptr}; }

Text count(std::int64_t value) { return integerToText(value); }
Text count(std::size_t value) { return integerToText(static_cast<std::int64_t>(value)); }

Text sizesText(const IntVector3& size, bool threeAxes) {
    Text text = count(size.x) + "x" + count(size.y);
    if (threeAxes) text += "x" + count(size.z);
    return text;
}

const char* kindWord(VoxelKind kind) {
    switch (kind) {
        case VoxelKind::imageGray:
        case VoxelKind::scalarGray: return "gray";
        case VoxelKind::imageFullgray:
        case VoxelKind::scalarFullgray: return "fullgray";
        case VoxelKind::imageRgb:
        case VoxelKind::vectorRgb: return "rgb";
        case VoxelKind::imageRgba: return "rgba";
        case VoxelKind::scalarMono: return "mono";
        case VoxelKind::vectorFloat: return "float";
        case VoxelKind::vectorNat: return "nat";
        default: return "unknown";
    }
}

// The size of a field as its use line and dump show it.
Text sizeShown(const ImageField& field) { return sizesText(fieldSize(field), false); }
template <class Field>
    requires requires(const Field& field) { fieldSize(field); }
Text sizeShown(const Field& field) {
    return sizesText(fieldSize(field), true);
}

Text description(const ImageField& field) {
    const char* word = field.kind == VoxelKind::imageZrgb ? "unknown" : kindWord(field.kind);
    return Text(word) + "(" + sizeShown(field) + ")";
}
template <class Field>
Text description(const Field& field) {
    return Text(kindWord(field.kind)) + "(" + sizeShown(field) + ")";
}
Text description(const Mesh& mesh) {
    return "mesh(points:" + count(mesh.points.size()) + ";faces:" + count(mesh.faces.size()) +
           ";normales:" + count(mesh.normals.size()) + ")";
}
Text description(const LineCloud& cloud) {
    return "cloud(points:" + count(cloud.points.size()) + ";lines:" + count(cloud.lines.size()) +
           ";objects:" + count(cloud.objects.size()) + ")";
}

template <class Object>
void printUseLine(const WorkspaceList<Object>& list) {
    const ListWords words = listWords<Object>();
    if (words.useHead == nullptr) return;
    const Object* object = list.current();
    if (object == nullptr) return;
    if constexpr (requires { sizeShown(*object); }) {
        writeTextLine(Text(words.useHead) + list.nameAt(list.currentIndex()) + " (" + sizeShown(*object) + ")");
    }
}

template <class Object>
void useCommand(MacroEngine& engine) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    WorkspaceList<Object>& list = workspaceList<Object>();
    const Text name = workspaceName(parameterOrEmpty(engine, 1));
    std::int64_t index = list.find(name);
    if (index < 1 || index > list.count()) index = list.append(name, newWorkspaceObject<Object>());
    list.select(index);
    printUseLine(list);
}

template <class Object>
void swapCommand(MacroEngine& engine) {
    if (parameterCount(engine) != 2) {
        errorCountExact(engine, 2);
        return;
    }
    WorkspaceList<Object>& list = workspaceList<Object>();
    const std::int64_t first = list.find(workspaceName(parameterOrEmpty(engine, 1)));
    const std::int64_t second = list.find(workspaceName(parameterOrEmpty(engine, 2)));
    if (first == 0 || second == 0) {
        writeTextLine("  Not swapped (" + list.nameAt(first) + ") <-> (" + list.nameAt(second) + ")!");
        return;
    }
    const Text firstName = list.nameAt(first), secondName = list.nameAt(second);
    list.rename(first, secondName);
    list.rename(second, firstName);
}

template <class Object>
void nameCommand(MacroEngine& engine) {
    if (parameterCount(engine) < 1) {
        errorCountMin(engine, 1);
        return;
    }
    WorkspaceList<Object>& list = workspaceList<Object>();
    if (!list.empty() && list.currentValid()) list.rename(list.currentIndex(), workspaceName(parameterOrEmpty(engine, 1)));
}

template <class Object>
void dumpList() {
    const WorkspaceList<Object>& list = workspaceList<Object>();
    const ListWords words = listWords<Object>();
    writeLine(std::string("***** ") + words.dumpTitle + " *****");
    if (list.empty()) {
        writeLine(words.emptyLine);
    } else if (list.currentValid()) {
        writeTextLine(words.inUse + count(list.currentIndex()) + ") in use: " + list.nameAt(list.currentIndex()));
    }
    for (std::int64_t i = 1; i <= list.count(); ++i) {
        const Object* object = list.at(i);
        const Text shown = object == nullptr ? Text("nil") : description(*object);
        writeTextLine("  (" + count(i) + "):" + shown + ":" + list.nameAt(i));
    }
    writeLine(std::string("***** ") + words.dumpTitle + " end *****");
}

void dumpAllLists() {
    dumpList<ImageField>();
    dumpList<ScalarField>();
    dumpList<VectorField>();
    dumpList<TensorField>();
    dumpList<Mesh>();
    dumpList<LineCloud>();
}

template <class Object>
void registerListCommands(MacroEngine& engine, const char* prefix) {
    setRegistrationPrefix(engine, prefix);
    registerOptionProcedure(engine, "use",  useCommand<Object>);
    registerOptionProcedure(engine, "swap", swapCommand<Object>);
    registerOptionProcedure(engine, "name", nameCommand<Object>);
    registerProcedure(engine, "dump",       dumpList<Object>);
    clearRegistrationPrefix(engine);
}

}  // namespace

void registerWorkspaceCommands(MacroEngine& engine) {
    registerListCommands<ImageField>(engine, "image.");
    registerListCommands<ScalarField>(engine, "scalar.");
    registerListCommands<VectorField>(engine, "vector.");
    registerListCommands<TensorField>(engine, "tensor.");
    registerListCommands<Mesh>(engine, "mesh.");
    registerListCommands<LineCloud>(engine, "line.");
    registerProcedure(engine, "clear", resetWorkspaces);
    registerProcedure(engine, "clean", resetWorkspaces);
    registerProcedure(engine, "new",   resetWorkspaces);
    registerProcedure(engine, "dump",  dumpAllLists);
}

}  // namespace corvane
