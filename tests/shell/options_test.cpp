// Option grammar, options file, declaration calls and positional parameters.
#include "shell/options.h"

#include <gtest/gtest.h>

#include <fstream>

#include "foundation/console.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

// A record filled from the given arguments the way the program does it,
// with the banner and echo lines captured.
struct ParsedOptions {
    explicit ParsedOptions(std::vector<ByteText> arguments) {
        initOptions(options, arguments, "corvane", "maker", 2017, "https://example.org");
        usage(options, "corvane [<options>]");
        outputSettings.consoleActive = true;  // the test's output is no terminal
    }
    ~ParsedOptions() { stopLog(); }
    Text value(const char* name) const {
        const std::int64_t index = findOption(options, name);
        return index ? options.values.get(index) : Text("<absent>");
    }
    OutputCapture capture;
    OptionRecord options;
};

TEST(OptionGrammar, NamesValuesAndSwitches) {
    TemporaryWorkingDirectory directory("corvane-options");
    ParsedOptions parsed({"-x", "-y", "3", "-z=4", "+w", "--long=5", "-q=\"a \"\"b\"", "-r='single'", "bare"});
    EXPECT_EQ(parsed.value("x").toUtf8(), "false");
    EXPECT_EQ(parsed.value("y").toUtf8(), "3");  // "-name value" works as "-name=value"
    EXPECT_EQ(parsed.value("z").toUtf8(), "4");
    EXPECT_EQ(parsed.value("w").toUtf8(), "true");
    EXPECT_EQ(parsed.value("long").toUtf8(), "5");
    EXPECT_EQ(parsed.value("q").toUtf8(), "a #9b");  // a doubled quote becomes the literal #9
    EXPECT_EQ(parsed.value("r").toUtf8(), "single");
    EXPECT_EQ(lastPositionalValue(parsed.options).toUtf8(), "bare");
    EXPECT_FALSE(reportBadOptions(parsed.options));
}

TEST(OptionGrammar, TokensWithoutNameAreBad) {
    TemporaryWorkingDirectory directory("corvane-options");
    for (const char* token : {"-", "+", "--", "-=3"}) {
        ParsedOptions parsed({"-ok=1", token});
        EXPECT_TRUE(reportBadOptions(parsed.options)) << token;
        EXPECT_NE(parsed.capture.console().find(std::string("Bad option (") + token + ")!"), std::string::npos);
    }
}

TEST(OptionGrammar, TabsInsideQuotesStayInTheToken) {
    OptionRecord options;
    options.names.allocDynamic();
    options.values.allocDynamic();
    parseLine(options, "-a=\"x\ty\"\t-b=2");
    EXPECT_EQ(options.values.get(1).toUtf8(), "x y");  // TABs in a token become blanks
    EXPECT_EQ(options.values.get(2).toUtf8(), "2");
}

TEST(OptionSources, CommandLineBeatsTheOptionsFile) {
    TemporaryWorkingDirectory directory("corvane-options");
    std::ofstream("corvane.ini") << "-x=from file\nverbose=off\nmacro run.macro\n\n-y=2\n";
    ParsedOptions parsed({"-x=command line"});
    EXPECT_EQ(parsed.value("x").toUtf8(), "command line");  // the first entry wins
    EXPECT_EQ(parsed.value("verbose").toUtf8(), "off");
    EXPECT_EQ(parsed.value("macro").toUtf8(), "run.macro");  // cut at the first blank
    EXPECT_EQ(parsed.value("y").toUtf8(), "2");
}

TEST(OptionSources, OptionsFileNamedByHash) {
    TemporaryWorkingDirectory directory("corvane-options");
    std::ofstream("other.ini") << "x=1\n";
    ParsedOptions parsed({"-#=other.ini"});
    EXPECT_EQ(parsed.value("x").toUtf8(), "1");
}

TEST(OptionDeclarations, ValuesAndEchoLines) {
    TemporaryWorkingDirectory directory("corvane-options");
    ParsedOptions parsed({"-n=250", "-v=<1, 2, 3>", "-t=abc", "+s", "file.macro"});
    const std::size_t before = parsed.capture.console().size();
    EXPECT_EQ(optionInteger(parsed.options, "n", "count", 5, 0, 100), 100);  // clamped
    EXPECT_EQ(optionInteger(parsed.options, "m", "other", 5, 0, 100), 5);
    const Vector3 v = optionVector(parsed.options, "v", "vector", {0, 0, 0});
    EXPECT_EQ(v.z, 3);
    EXPECT_EQ(optionText(parsed.options, "t", "text", "d").toUtf8(), "abc");
    EXPECT_TRUE(optionSwitch(parsed.options, "s", "switch", false));
    EXPECT_EQ(optionFile(parsed.options, "macro", "macro file", "corvane.macro").toUtf8(), "file.macro");
    EXPECT_EQ(parsed.capture.console().substr(before),
              "  -n : count (0-100) = 100\n"
              "  -m : other (0-100) = 5\n"
              "  -v : vector = <1, 2, 3>\n"
              "  -t : text = abc\n"
              "  +/-s : switch = on\n"
              "  -macro : macro file = file.macro\n");
}

TEST(OptionDeclarations, HelpModesShowDefaultsAndNotes) {
    TemporaryWorkingDirectory directory("corvane-options");
    ParsedOptions help({"-h", "-t=abc"});
    EXPECT_TRUE(help.options.helpMode);
    EXPECT_FALSE(help.options.waitMode);
    EXPECT_EQ(optionText(help.options, "t", "text", "default").toUtf8(), "default");
    note(help.options, "NII : NIfTI");
    section(help.options, "Output Options");
    example(help.options, "corvane -x=1");
    const std::string text = help.capture.console();
    EXPECT_NE(text.find("      NII : NIfTI\n\nOutput Options:\n"), std::string::npos);
    EXPECT_NE(text.find("\n  -? : show this help\n  -h : shows this help without waiting\n\nExample: corvane -x=1\n"),
              std::string::npos);
    EXPECT_EQ(text.find("*** press enter ***"), std::string::npos);

    ParsedOptions waiting({"-?"});
    EXPECT_TRUE(waiting.options.waitMode);
    section(waiting.options, "Input Options");
    EXPECT_NE(waiting.capture.console().find("\n*** press enter ***\nInput Options:\n"), std::string::npos);

    ParsedOptions plain({"-t=abc"});
    note(plain.options, "hidden");
    EXPECT_EQ(plain.capture.console().find("hidden"), std::string::npos);
}

TEST(OptionParameters, BareValuesAndUnusedNames) {
    TemporaryWorkingDirectory directory("corvane-options");
    // "-strict first" would read as "-strict=first": a value may follow a '-' name.
    ParsedOptions parsed({"-strict", "+log", "first", "-subject=042", "second", "-used=1"});
    optionText(parsed.options, "used", "read by a declaration", "0");
    const std::vector<PositionalParameter> parameters = positionalParameters(parsed.options);
    ASSERT_EQ(parameters.size(), 3u);
    EXPECT_EQ(parameters[0].name.toUtf8(), "1");
    EXPECT_EQ(parameters[0].value.toUtf8(), "first");
    EXPECT_EQ(parameters[1].name.toUtf8(), "subject");
    EXPECT_EQ(parameters[1].value.toUtf8(), "042");
    EXPECT_EQ(parameters[2].name.toUtf8(), "2");
    EXPECT_EQ(lastPositionalValue(parsed.options).toUtf8(), "second");
    EXPECT_FALSE(outputSettings.interactive);  // -strict as first argument
}

TEST(OptionBanner, VersionFromTheBuildDate) {
    EXPECT_EQ(versionText(2026, 4, 8, 2017).toUtf8(), "9.4.8");
    const Text date = buildDateText();
    EXPECT_EQ(date.length(), 10);
    EXPECT_EQ(date.at(5), '/');
    TemporaryWorkingDirectory directory("corvane-options");
    ParsedOptions parsed({});
    const std::string banner = parsed.capture.console();
    EXPECT_EQ(banner.rfind("\ncorvane - ", 0), 0u);
    EXPECT_NE(banner.find(" for FreeBSD (x86_64_SSE LE)\nmaker 2017-"), std::string::npos);
    EXPECT_NE(banner.find("  -update : Load a new version from https://example.org/x86_64-FreeBSD/"),
              std::string::npos);
}

}  // namespace
}  // namespace corvane
