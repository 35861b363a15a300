// if*, then, else, case, of and ofnot.
#include "engine/conditions.h"

#include <glob.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "engine/diagnostics.h"
#include "engine/nameindex.h"
#include "engine/parameters.h"
#include "foundation/maths.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"

namespace corvane {

namespace {

// A parameter is true when it reads as a real of at least 1.
bool truth(const Text& text) { return realOf(text) >= 1.0; }

double magnitude(const Text& text) { return length(vector4Of(text)); }

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

bool exists(const Text& name) {
    const ByteText path = normalizePath(name).toUtf8();
    struct stat info;
    if (::stat(path.c_str(), &info) == 0) return true;
    glob_t matches{};
    const bool any = ::glob(path.c_str(), 0, nullptr, &matches) == 0 && matches.gl_pathc > 0;
    ::globfree(&matches);
    return any;
}

std::int64_t fileSize(const Text& name) {
    struct stat info;
    if (::stat(normalizePath(name).toUtf8().c_str(), &info) != 0) return -1;
    return static_cast<std::int64_t>(info.st_size);
}

// "all" tests start true and fail on one parameter, "any" tests start false
// and pass on one.
enum class Combine { all, any };

struct ConditionWord {
    const char* word;
    std::int64_t minimum;
    std::int64_t reportedMinimum;  // the count the report names, kept as it is
    bool invert;
    Combine combine;
    std::function<bool(const MacroEngine&)> test;
};

std::int64_t count(const MacroEngine& engine) { return parameterCount(engine); }
Text at(const MacroEngine& engine, std::int64_t i) { return parameterOrEmpty(engine, i); }

bool allOf(const MacroEngine& engine, std::int64_t from, const std::function<bool(const Text&)>& test) {
    for (std::int64_t i = from; i <= count(engine); ++i) {
        if (!test(at(engine, i))) return false;
    }
    return true;
}

bool anyOf(const MacroEngine& engine, std::int64_t from, const std::function<bool(const Text&)>& test) {
    for (std::int64_t i = from; i <= count(engine); ++i) {
        if (test(at(engine, i))) return true;
    }
    return false;
}

// Each next two parameters stand in the relation.
bool pairwise(const MacroEngine& engine, const std::function<bool(const Text&, const Text&)>& relation) {
    for (std::int64_t i = 1; i < count(engine); ++i) {
        if (!relation(at(engine, i), at(engine, i + 1))) return false;
    }
    return true;
}

bool contains(const Text& text, const Text& piece) { return !piece.empty() ? text.findFirst(piece) != 0 : false; }

const std::vector<ConditionWord>& conditionWords() {
    static const std::vector<ConditionWord> words = [] {
        const auto allTrue = [](const MacroEngine& e) { return allOf(e, 1, truth); };
        const auto anyTrue = [](const MacroEngine& e) { return anyOf(e, 1, truth); };
        const auto containedInAll = [](const MacroEngine& e) {
            return allOf(e, 2, [&e](const Text& t) { return contains(t, at(e, 1)); });
        };
        const auto containedInOne = [](const MacroEngine& e) {
            return anyOf(e, 2, [&e](const Text& t) { return contains(t, at(e, 1)); });
        };
        const auto allArePart = [](const MacroEngine& e) {
            return allOf(e, 2, [&e](const Text& t) { return contains(at(e, 1), t); });
        };
        const auto oneIsPart = [](const MacroEngine& e) {
            return anyOf(e, 2, [&e](const Text& t) { return contains(at(e, 1), t); });
        };
        const auto allExist = [](const MacroEngine& e) { return allOf(e, 1, exists); };
        std::vector<ConditionWord> table = {
            {"if", 1, 1, false, Combine::all, allTrue},
            {"ifall", 1, 1, false, Combine::all, allTrue},
            {"ifand", 1, 1, false, Combine::all, allTrue},
            {"ifnot", 1, 1, true, Combine::all, allTrue},
            {"ifnotall", 1, 1, true, Combine::all, allTrue},
            {"ifnand", 1, 1, true, Combine::all, allTrue},
            {"ifone", 1, 1, false, Combine::any, anyTrue},
            {"ifor", 1, 1, false, Combine::any, anyTrue},
            {"ifnotone", 1, 1, true, Combine::any, anyTrue},
            {"ifnor", 1, 1, true, Combine::any, anyTrue},
            {"ifzero", 1, 1, false, Combine::all, [](const MacroEngine& e) { return allOf(e, 1, [](const Text& t) { return magnitude(t) == 0; }); }},
            {"ifnotzero", 1, 1, false, Combine::all, [](const MacroEngine& e) { return allOf(e, 1, [](const Text& t) { return magnitude(t) != 0; }); }},
            {"ifsmaller", 2, 1, false, Combine::all, [](const MacroEngine& e) { return pairwise(e, [](const Text& a, const Text& b) { return magnitude(a) < magnitude(b); }); }},
            {"ifbigger", 2, 1, false, Combine::all, [](const MacroEngine& e) { return pairwise(e, [](const Text& a, const Text& b) { return magnitude(a) > magnitude(b); }); }},
            {"ifequal", 2, 1, false, Combine::all, [](const MacroEngine& e) {
                 return pairwise(e, [](const Text& a, const Text& b) {
                     const Vector4 x = vector4Of(a), y = vector4Of(b);
                     return sameBits(x.x, y.x) && sameBits(x.y, y.y) && sameBits(x.z, y.z) && sameBits(x.w, y.w);
                 });
             }},
            {"ifabsequal", 2, 1, false, Combine::all, [](const MacroEngine& e) { return pairwise(e, [](const Text& a, const Text& b) { return magnitude(a) == magnitude(b); }); }},
            {"ifempty", 0, 0, false, Combine::all, [](const MacroEngine& e) { return allOf(e, 1, [](const Text& t) { return t.empty(); }); }},
            {"ifnotempty", 0, 0, false, Combine::any, [](const MacroEngine& e) { return anyOf(e, 1, [](const Text& t) { return !t.empty(); }); }},
            {"ifsame", 0, 0, false, Combine::all, [](const MacroEngine& e) { return pairwise(e, [](const Text& a, const Text& b) { return a == b; }); }},
            {"ifnotsame", 0, 0, true, Combine::any, [](const MacroEngine& e) { return pairwise(e, [](const Text& a, const Text& b) { return a == b; }); }},
            {"ifcontain", 2, 1, false, Combine::all, containedInAll},
            {"ifallcontain", 2, 1, false, Combine::all, containedInAll},
            {"ifnotcontain", 2, 1, true, Combine::all, containedInAll},
            {"ifnotallcontain", 2, 1, true, Combine::all, containedInAll},
            {"ifonecontain", 2, 1, false, Combine::any, containedInOne},
            {"ifnotonecontain", 2, 1, true, Combine::any, containedInOne},
            {"ifpart", 2, 1, false, Combine::all, allArePart},
            {"ifallpart", 2, 1, false, Combine::all, allArePart},
            {"ifnotpart", 2, 1, true, Combine::all, allArePart},
            {"ifnotallpart", 2, 1, true, Combine::all, allArePart},
            {"ifonepart", 2, 1, false, Combine::any, oneIsPart},
            {"ifnotonepart", 2, 1, true, Combine::any, oneIsPart},
            {"ifexists", 1, 1, false, Combine::all, allExist},
            {"ifnotexists", 1, 1, true, Combine::all, allExist},
        };
        return table;
    }();
    return words;
}

// The start value of the flag when the count is short: "all" tests start
// true, "any" tests false.
bool startValue(const ConditionWord& word) { return word.combine == Combine::all; }

const ConditionWord* findConditionWord(const Text& word) {
    static const NameMap<const ConditionWord*> byName = [] {
        NameMap<const ConditionWord*> map;
        for (const ConditionWord& entry : conditionWords()) map.emplace(entry.word, &entry);
        return map;
    }();
    const NameKeyView key(word);
    const auto hit = byName.find(key.view());
    return hit == byName.end() ? nullptr : hit->second;
}

std::int64_t conditionStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    const ConditionWord* word = findConditionWord(engine.commandWord);
    parseParameters(engine, remainder);
    traceStatement(engine, engine.commandWord);
    bool flag;
    if (count(engine) < word->minimum) {
        errorCountMin(engine, word->reportedMinimum);
        flag = startValue(*word);
    } else {
        flag = word->test(engine);
    }
    engine.frame->condition = word->invert ? !flag : flag;
    return line;
}

// The filesize words keep a false flag: they only ever clear it.
std::int64_t fileSizeStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    traceStatement(engine, engine.commandWord);
    const Text& word = engine.commandWord;
    const std::int64_t wanted = word == "ifzero.filesize" ? 1 : 2;
    if (count(engine) != wanted) {
        errorCountExact(engine, wanted);
        return line;
    }
    const std::int64_t size = fileSize(at(engine, 1));
    const std::int64_t limit = wanted == 2 ? integerOf(at(engine, 2)) : 0;
    bool holds;
    if (word == "ifsmaller.filesize") {
        holds = size < limit;
    } else if (word == "ifbigger.filesize") {
        holds = size > limit;
    } else {
        holds = size == limit;
    }
    if (!holds) engine.frame->condition = false;
    return line;
}

// then (flag true) and else (flag false) with a block of their own.
std::int64_t branchBlock(MacroEngine& engine, std::int64_t line, bool runsOn, const char* name,
                         const char* ignoredName) {
    if (engine.frame->condition == runsOn) {
        traceWord(engine, engine.commandWord);
        nameBlock(engine, name);
        return runBlock(engine, line, true);
    }
    nameBlock(engine, ignoredName);
    return runBlock(engine, line, false);
}

std::int64_t thenStatement(MacroEngine& engine, std::int64_t line, const Text&) {
    return branchBlock(engine, line, true, "if.then", "if.then.ignore");
}

std::int64_t elseStatement(MacroEngine& engine, std::int64_t line, const Text&) {
    return branchBlock(engine, line, false, "if.else", "if.else.ignore");
}

std::int64_t caseStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    parseParameters(engine, remainder);
    traceStatement(engine, "case");
    if (count(engine) != 1) {
        errorCountExact(engine, 1);
        return line;
    }
    engine.frame->caseValue = at(engine, 1);
    return line;
}

std::int64_t ofBlock(MacroEngine& engine, std::int64_t line, const Text& remainder, bool wantMatch) {
    parseParameters(engine, remainder);
    traceStatement(engine, engine.commandWord);
    if (count(engine) < 1) {
        errorCountMin(engine, 1);
        return line;
    }
    const bool matches = anyOf(engine, 1, [&engine](const Text& t) { return t == engine.frame->caseValue; });
    const char* name = wantMatch ? "of" : "ofnot";
    if (matches == wantMatch) {
        nameBlock(engine, name);
        return runBlock(engine, line, true);
    }
    nameBlock(engine, wantMatch ? "of.ignore" : "ofnot.ignore");
    return runBlock(engine, line, false);
}

std::int64_t ofStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return ofBlock(engine, line, remainder, true);
}

std::int64_t ofnotStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return ofBlock(engine, line, remainder, false);
}

}  // namespace

void addConditionWords(WordTable& words) {
    for (const ConditionWord& entry : conditionWords()) words[entry.word] = {conditionStatement, false};
    for (const char* word : {"ifzero.filesize", "ifsmaller.filesize", "ifequal.filesize", "iffilesize",
                             "ifbigger.filesize"})
        words[word] = {fileSizeStatement, false};
    for (const char* word : {"then", "if.then", "if.true"}) words[word] = {thenStatement, true};
    for (const char* word : {"else", "if.else", "if.false"}) words[word] = {elseStatement, true};
    words["case"] = {caseStatement, false};
    words["of"] = {ofStatement, true};
    words["ofnot"] = {ofnotStatement, false};
}

}  // namespace corvane
