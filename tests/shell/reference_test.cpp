// The command reference names exactly the registered commands, and the
// first-run file written from it is a macro that runs its head and halts.
#include "shell/reference.h"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "engine/runloop.h"
#include "shell/commands.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

TEST(CommandReference, NamesEveryRegisteredCommandOnce) {
    MacroEngine engine;
    newMacroEngine(engine);
    registerAllCommands(engine);
    std::set<std::string> registered;
    for (const SyntaxMember& row : engine.syntax.rows) registered.insert(row.name.toUtf8());
    std::set<std::string> referenced;
    for (const ReferenceLine& line : commandReference()) {
        EXPECT_TRUE(referenced.insert(line.command).second) << "twice in the reference: " << line.command;
        EXPECT_TRUE(registered.count(line.command)) << "not registered: " << line.command;
        EXPECT_EQ(std::string(line.example).rfind(line.command, 0), 0u) << "example does not use " << line.command;
    }
    for (const std::string& name : registered) EXPECT_TRUE(referenced.count(name)) << "no reference line: " << name;
}

TEST(CommandReference, FirstRunFileHeadAndClosing) {
    TemporaryWorkingDirectory directory("corvane-reference");
    ASSERT_TRUE(writeFirstRunMacro("corvane.macro", "9.4.8"));
    std::ifstream file("corvane.macro");
    std::stringstream content;
    content << file.rdbuf();
    const std::string text = content.str();
    EXPECT_EQ(text.rfind("//!./corvane // Version: 9.4.8\n", 0), 0u);
    EXPECT_NE(text.find("\nio.file.remove \"corvane.macro\" // remove old command list\n"
                        "execute ./corvane // make new command list\n"
                        "halt // Do not interpret the rest\n"),
              std::string::npos);
    EXPECT_NE(text.find("\n// @variable denotes builtin variables.\n"), std::string::npos);
    EXPECT_NE(text.find("\nprint \"a = \" a // writes its parameters and ends the line\n"), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 43), "// For more line commands, look at Fenwy2!\n");
    EXPECT_FALSE(writeFirstRunMacro("missing-directory/corvane.macro", "1"));
}

}  // namespace
}  // namespace corvane
