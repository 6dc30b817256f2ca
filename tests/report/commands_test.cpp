#include <gtest/gtest.h>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>
#endif

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "client/commands/command_line.h"
#include "client/system/console.h"
#include "client/system/output_file.h"
#include "client/text/utf8.h"
#include "made_report.h"
#include "test_folder.h"

namespace orrery {
namespace {

using namespace std::string_literals;

/// A folder with two reports that differ and one file that is no report.
class Commands : public testing::Test {
protected:
    Commands()
    {
        Write("a.tsv", ReportBytes("BIOS|0|SerialNumber|S-1\nBIOS|0|Version|1\n"));
        Write("b.tsv", ReportBytes("BIOS|0|SerialNumber|S-1\nBIOS|0|Version|2\n"));
        Write("text.tsv", "This is no report at all, whoever reads it.\n");
    }
    void Write(const std::string& name, const std::string& bytes) { folder_.Write(name, bytes); }

    /// The exit code of the program for arguments between blanks, of which "@name" is a file in the
    /// folder and "@" is empty; what it says of an error is in `message_`.
    int Run(const std::string& line)
    {
        std::istringstream words{line};
        std::vector<std::string> arguments{std::istream_iterator<std::string>{words}, {}};
        ExitCode result = ExitCode::kDone;
        CCommandLine commandLine{"", "orreryctl", ""};
        AddSummaryCommand(commandLine, &result);
        AddShowCommand(commandLine, &result);
        AddGetCommand(commandLine, &result);
        AddConvertCommand(commandLine, &result);
        AddDiffCommand(commandLine, &result);
        AddRedactCommand(commandLine, &result);
        AddCheckCommand(commandLine, &result);
#ifndef _WIN32
        AddCollectCommand(commandLine, &result);
        AddDoctorCommand(commandLine, &result);
        AddRecordCommand(commandLine, &result);
#endif
        std::reverse(arguments.begin(), arguments.end());
        for (std::string& argument : arguments)
            if (argument.starts_with('@'))
                argument = argument.size() == 1 ? "" : folder_.Path(argument.substr(1));
        std::string failure;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        try {
            commandLine.Run(arguments);
        } catch (const CommandError& error) {
            result = error.code();
            failure = error.what();
        }
        output_ = testing::internal::GetCapturedStdout();
        message_ = testing::internal::GetCapturedStderr() + failure;
        return static_cast<int>(result);
    }

    const CTestFolder folder_;
    std::string message_, output_;
};

TEST_F(Commands, TellTheirResultByTheExitCodeAndSayWhatToDo)
{
    const struct {
        const char* arguments;
        int expected;
        const char* message;
    } rows[] = {
        {"diff @a.tsv @a.tsv", 0, ""},
        {"diff @a.tsv @b.tsv", 1, ""},
        {"diff @a.tsv @b.tsv --to json --all", 1, ""},
        {"diff @a.tsv @none.tsv", 2, "there is no such file; check the name"},
        {"diff @text.tsv @a.tsv", 2, "perhaps text in UTF-8"},
        {"diff @a.tsv @folder", 2, "it is a folder; give the name of a report in it"},
        {"diff @a.tsv", 2, "NEW.tsv is required"},
        {"diff @a.tsv @b.tsv --to csv", 2, "{text,json}"},
        {"show @a.tsv bios", 0, ""},
        {"show @a.tsv bios Printer", 1, "the section \"Printer\" is not in this report"},
        {"show @a.tsv Bio", 2, "no section \"Bio\"; did you mean \"BIOS\"?"},
        {"get @a.tsv BIOS.Version", 0, ""},
        {"get @a.tsv bios.VERSION BIOS.*.SerialNumber --to json", 0, ""},
        {"get @a.tsv BIOS.Versions BIOS.Version", 1, "Versions; did you mean \"BIOS.Version\"?"},
        {"get @a.tsv BIOS.Unheard", 1,
         "no value BIOS.Unheard: the section has SerialNumber, Version"},
        {"get @a.tsv Disk.Size BIOS.Versions", 2, "no value Disk.Size: there is no such section"},
        {"get @a.tsv BIOS", 2, "give SECTION.PROPERTY"},
        {"convert @a.tsv", 2, "--to is required"},
        {"convert @a.tsv --to xml", 2, "xml not in {json,jsonl,csv,html}"},
        {"convert @a.tsv @b.tsv --to json", 2, "--to json takes one report"},
        {"convert @a.tsv --to json --spreadsheet", 2, "--spreadsheet goes with --to csv"},
        {"convert @none.tsv @text.tsv --to csv", 2, "is no report"},
        {"convert @a.tsv --to csv -o @a.tsv", 2, "is the file that is read"},
        {"diff @a.tsv @b.tsv -o @b.tsv", 2, "is the file that is read"},
        {"show @a.tsv -o @", 2, "the name of the file to write is empty"},
        {"redact @a.tsv @", 2, "the name of the file to write is empty"},
        {"redact @a.tsv @out.tsv -o @out.tsv", 2, "more than one file to write"},
        {"summary - @a.tsv -", 2, "can be read once only"},
        {"diff - -", 2, "can be read once only"},
#ifndef _WIN32
        {"collect x.tsv", 2, "collect runs on Windows only"},
        {"doctor", 2, "doctor runs on Windows only"},
        {"record --help", 2, "record runs on Windows only"},
#endif
        {"shwo", 2, "\"shwo\" is not known here; did you mean \"show\"?"},
        {"print @a.tsv", 2, "\"print\" is not known here\n\"orreryctl\" takes: summary, show, get"},
        {"convert @a.tsv --redcat", 2, "did you mean \"--redact\"?"},
        {"diff @a.tsv @b.tsv --reverse", 2, "takes: --help, OLD.tsv, NEW.tsv, --to, --all"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Run(row.arguments), row.expected) << row.arguments;
        EXPECT_NE(message_.find(row.message), std::string::npos) << message_;
    }
}

TEST_F(Commands, ConvertSeveralReportsIntoOneText)
{
    EXPECT_EQ(Run("convert @a.tsv @none.tsv @b.tsv --to csv --redact -o @all.csv"), 2);
    EXPECT_NE(message_.find("there is no such file"), std::string::npos) << message_;
    EXPECT_EQ(folder_.Read("all.csv"),
              "machine,section,index,property,value,report\r\n"
              ",BIOS,0,SerialNumber,serial-1,report-1\r\n,BIOS,0,Version,1,report-1\r\n"
              ",BIOS,0,SerialNumber,serial-1,report-3\r\n,BIOS,0,Version,2,report-3\r\n");
    EXPECT_EQ(Run("convert @a.tsv @b.tsv --to jsonl"), 0);
    EXPECT_EQ(std::count(output_.begin(), output_.end(), '\n'), 2);
    EXPECT_EQ(Run("convert @text.tsv @none.tsv --to csv"), 2);
    EXPECT_EQ(output_, "");
}

TEST_F(Commands, TellWhetherReportsAreWhole)
{
    std::string text = "BIOS|0|SerialNumber|S-1\nBIOS|0|Version|1\nET|0||5\n";
    Write("late.tsv", ReportBytes(text));
    for (int category = 2; category <= 13; ++category)
        text += "ET|0||5\n";
    Write("whole.tsv", ReportBytes(text + "VideoController|0|Name|V\n"));
    const struct {
        const char* arguments;
        int expected;
        const char *output, *message;
    } rows[] = {
        {"check @whole.tsv", 0, "whole.tsv: the report is whole\n", ""},
        {"check @late.tsv @whole.tsv", 1, "late.tsv: the report lacks 12 categories", ""},
        {"check @a.tsv @late.tsv", 2, "a.tsv: the report is cut: ", ""},
        {"check @none.tsv @whole.tsv", 2, "whole.tsv: the report is whole\n", "no such file"},
        {"check @text.tsv", 2, "", "is no report"},
        {"diff @whole.tsv @whole.tsv", 0, "No differences, leaving out", ""},
        {"diff @whole.tsv @a.tsv", 1, "No differences up to where a report is cut, ", ""},
        {"diff @a.tsv @whole.tsv --to json", 1, "\"old\": {\n      \"state\": \"cut\"", ""},
        {"convert @late.tsv --to html", 0, "not that of a whole run</b><ul><li>the ", "lacks 12"},
        {"show @a.tsv", 0, "", "a.tsv\": the report is cut: "},
        {"get @a.tsv BIOS.Version", 0, "1\n", "a.tsv\": the report is cut: "},
        {"redact @a.tsv @out.tsv", 0, "", "a.tsv\": the report is cut: "},
        {"check @late.tsv @whole.tsv --to json", 1, "\"missing\": 12", ""},
        {"diff @out.tsv @a.tsv", 1, "serial-1 -> S-1", "out.tsv is redacted and "},
        {"diff @a.tsv @b.tsv", 1, "\n1 changed\n", ""},
        {"diff @a.tsv @b.tsv --redact", 1, "BIOS\n  Version  1 -> 2\n", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Run(row.arguments), row.expected) << row.arguments;
        EXPECT_NE(output_.find(row.output), std::string::npos) << output_;
        EXPECT_NE(message_.find(row.message), std::string::npos) << message_;
    }
}

TEST_F(Commands, PrintWhatThereIs)
{
    const struct {
        const char *arguments, *output;
    } rows[] = {
        {"get @a.tsv bios.version BIOS.None BIOS.SerialNumber", "1\nS-1\n"},
        {"get @a.tsv BIOS.SerialNumber BIOS[SerialNumber=S-1].Version --redact", "serial-1\n1\n"},
        {"summary @none.tsv @a.tsv",
         "Computer without a name\n  Not whole  0 of 13 categories are there\n"},
    };
    for (const auto& row : rows) {
        Run(row.arguments);
        EXPECT_EQ(output_, row.output) << row.arguments;
    }
    for (const char* arguments :
         {"show @a.tsv", "get @a.tsv BIOS.Version", "summary @a.tsv", "check @a.tsv",
          "diff @a.tsv @b.tsv", "convert @a.tsv --to html", "redact @a.tsv"}) {
        // What goes to a file is what is printed.
        Run(arguments + " --quiet -o @out"s);
        EXPECT_EQ(message_ + output_, "") << arguments;
        const std::string written = folder_.Read("out");
        std::filesystem::remove(PathFromUtf8(folder_.Path("out")));
        Run(arguments + " --quiet"s);
        EXPECT_EQ(output_, written) << arguments;
        EXPECT_FALSE(output_.empty()) << arguments;
    }
    Run("get @a.tsv BIOS[SerialNumber=S-2].Version --redact");
    EXPECT_EQ(message_.find("S-1"), message_.npos) << message_;
    EXPECT_EQ(Run("summary @none.tsv @a.tsv"), 2);
}

TEST_F(Commands, ShowAnExampleAndTheirOwnExitCodesInTheirHelp)
{
    const struct {
        const char *command, *codes;
    } rows[] = {
        {"show", "\n  1  the report does not have such a section\n"},
        {"get", "\n  1  there is no such value\n"},
        {"convert", "  0  done\n  2  wrong"},
        {"diff", "\n  1  the reports differ\n"},
        {"redact", "  0  done\n  2  wrong"},
        {"check", "\n  1  a report lacks categories\n"},
    };
    for (const auto& [command, codes] : rows) {
        EXPECT_EQ(Run(command + " --help"s), 0);
        EXPECT_NE(output_.find(std::string{"\n  orreryctl "} + command), std::string::npos);
        EXPECT_NE(output_.find(codes), std::string::npos) << output_;
    }
}

TEST_F(Commands, WriteAWholeFileOrNone)
{
    const std::string original = folder_.Read("a.tsv");
    const struct {
        std::string input, output;
        std::string named;  // in the message
    } rows[] = {
        {"a.tsv", "a.tsv", "a.tsv"},
        {"a.tsv", "folder/../a.tsv", "folder/../a.tsv"},
        {"a.tsv", "folder", "folder"},
        {"a.tsv", "nowhere/out.tsv", "nowhere/out.tsv"},
        {"a.tsv", "a.tsv/out.tsv", "a.tsv/out.tsv"},
        {"none.tsv", "out.tsv", "none.tsv"},
        {"text.tsv", "out.tsv", "text.tsv"},
    };
    for (const auto& [input, output, named] : rows) {
        EXPECT_EQ(Run(("redact @" + input).append(" @").append(output)), 2)
            << input << ' ' << output;
        EXPECT_NE(message_.find('"' + folder_.Path(named) + '"'), std::string::npos) << message_;
        EXPECT_EQ(folder_.Count(), 4U) << output;
    }
    EXPECT_EQ(folder_.Read("a.tsv"), original);

    const auto redacted = ReportBytes("BIOS|0|SerialNumber|serial-1\nBIOS|0|Version|1\n");
    for (const char* output : {"out.tsv", "b.tsv"}) {  // a new file, and one that was there
        EXPECT_EQ(Run("redact @a.tsv @"s + output), 0);
        EXPECT_EQ(folder_.Read(output), redacted);
    }
    EXPECT_EQ(folder_.Count(), 5U);
}

#ifdef _WIN32
TEST_F(Commands, WorkOnPathsOfAnyLength)
{
    std::wstring folder = LR"(\\?\)" + PathFromUtf8(folder_.Path("folder")).wstring();
    for (int level = 0; level < 3; ++level) {
        folder += L'\\' + std::wstring(100, L'x');
        ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr)) << level;
    }
    const std::string part = std::string(100, 'x');
    const std::string path = "@folder/" + part + '/' + part + '/' + part + '/';
    EXPECT_EQ(Run("redact @a.tsv " + path + "a.tsv"), 0) << message_;
    EXPECT_EQ(Run("convert " + path + "a.tsv --to csv -o " + path + "a.csv"), 0) << message_;
    EXPECT_EQ(Run("get " + path + "a.tsv BIOS.Version"), 0) << message_;
    EXPECT_EQ(Run("redact " + path + "a.tsv " + path + "a.tsv"), 2) << "replaced what it read";
    for (const wchar_t* name : {L"\\a.tsv", L"\\a.csv"})
        EXPECT_TRUE(DeleteFileW((folder + name).c_str()));
    for (int level = 0; level < 3; ++level, folder.resize(folder.size() - 101))
        EXPECT_TRUE(RemoveDirectoryW(folder.c_str()));
}

TEST_F(Commands, WriteFilesOfOneFolderAtTheSameTime)
{
    // What a killed program has left is removed, what another one has made but not yet put in place is
    // not. Each file is replaced again and again, which takes the right to do so.
    Write(".orreryctl.0123456789abcdef.tmp", "left");
    std::vector<std::thread> writers;
    for (const char* name : {"one", "two", "three"})
        writers.emplace_back([this, name] {
            for (int time = 0; time < 100; ++time)
                EXPECT_NO_THROW(WriteOutputFile(folder_.Path(name), WholeText(name)));
        });
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(folder_.Count(), 7U);
}

TEST_F(Commands, WriteToADeviceInAnyFolder)
{
    EXPECT_EQ(Run("convert @a.tsv --to csv -o nul"), 0) << message_;
    EXPECT_EQ(Run("redact @a.tsv @NUL"), 0) << message_;
    EXPECT_EQ(folder_.Count(), 4U);
}
#else
namespace fs = std::filesystem;

/// The mode of a file, or of the link that stands there.
mode_t ModeOf(const std::string& path)
{
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

/// The one file in the folder that is still being written.
std::string Unfinished(const CTestFolder& folder)
{
    std::string found;
    for (const auto& each : fs::directory_iterator{folder.Path("")})
        if (each.path().extension() == ".tmp")
            found = each.path().string();
    return found;
}

TEST_F(Commands, ReplaceALinkAndNotWhatItLeadsTo)
{
    const std::string link = folder_.Path("link.csv"), earlier = folder_.Read("b.tsv");
    fs::create_symlink(folder_.Path("b.tsv"), link);
    EXPECT_EQ(Run("convert @a.tsv --to csv -o @link.csv"), 0) << message_;
    EXPECT_FALSE(fs::is_symlink(link));
    EXPECT_TRUE(folder_.Read("link.csv").starts_with("machine,"));
    EXPECT_EQ(folder_.Read("b.tsv"), earlier);
}

TEST_F(Commands, WriteForNobodyElseAndTakeOverPermissions)
{
    const mode_t mask = umask(027);
    const struct {
        const char* name;
        mode_t earlier, expected;  // no earlier file with 0
    } rows[] = {{"new.tsv", 0, 0640}, {"secret.tsv", 0600, 0600}, {"open.tsv", 0666, 0666}};
    for (const auto& [name, earlier, expected] : rows) {
        const std::string path = folder_.Path(name);
        if (earlier != 0) {
            Write(name, "earlier");
            chmod(path.c_str(), earlier);
        }
        WriteOutputFile(path, [this, name = name](const TextSink& sink) {
            sink("text");
            EXPECT_EQ(ModeOf(Unfinished(folder_)), 0600U) << name;
        });
        EXPECT_EQ(ModeOf(path), expected) << name;
    }
    umask(mask);
}

TEST_F(Commands, HeedTheListOfTheFolder)
{
    // Version; owner rwx, user 65534 rw-, group r-x, mask rwx, others nothing.
    const std::string list{
        "\2\0\0\0"
        "\1\0\7\0\xFF\xFF\xFF\xFF"
        "\2\0\6\0\xFE\xFF\0\0"
        "\4\0\5\0\xFF\xFF\xFF\xFF"
        "\x10\0\7\0\xFF\xFF\xFF\xFF"
        "\x20\0\0\0\xFF\xFF\xFF\xFF",
        44};
    Write("open.tsv", "earlier, without a list");
    chmod(folder_.Path("open.tsv").c_str(), 0640);
    if (setxattr(folder_.Path("").c_str(), "system.posix_acl_default", list.data(), list.size(),
                 0) != 0)
        GTEST_SKIP() << "the file system knows no lists";
    for (const char* name : {"open.tsv", "new.tsv"})
        WriteOutputFile(folder_.Path(name), WholeText("text"));
    EXPECT_EQ(ModeOf(folder_.Path("open.tsv")), 0640U);
    EXPECT_LT(getxattr(folder_.Path("open.tsv").c_str(), "system.posix_acl_access", nullptr, 0), 0);
    EXPECT_EQ(ModeOf(folder_.Path("new.tsv")), 0660U);
}

TEST_F(Commands, LeaveNothingWhenInterruptedAndCleanUpAfterAKill)
{
    const auto ended = [this](int signal) {
        const pid_t child = fork();
        if (child == 0) {
            WriteOutputFile(folder_.Path("b.tsv"), [signal](const TextSink& sink) {
                sink("text");
                raise(signal);
            });
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFSIGNALED(status) && WTERMSIG(status) == signal;
    };
    const std::string earlier = folder_.Read("b.tsv");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_TRUE(ended(signal)) << signal;
        EXPECT_EQ(folder_.Count(), 4U) << signal;
    }
    EXPECT_TRUE(ended(SIGKILL));
    EXPECT_EQ(folder_.Count(), 5U) << "there is nothing to clean up";
    WriteOutputFile(folder_.Path("one"), [this](const TextSink& sink) {
        // Another one in the folder removes what was left, but not what is still being written.
        const pid_t child = fork();
        if (child == 0) {
            WriteOutputFile(folder_.Path("other"), WholeText("other"));
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        sink("one");
    });
    EXPECT_EQ(folder_.Read("one") + folder_.Read("other"), "oneother");
    EXPECT_EQ(folder_.Count(), 6U);
    EXPECT_EQ(folder_.Read("b.tsv"), earlier);
}

/// Standard output and standard error are a terminal for as long as the object lives.
class CTerminal {
public:
    CTerminal() : end_(posix_openpt(O_RDWR | O_NOCTTY))
    {
        grantpt(end_);
        unlockpt(end_);
        const int terminal = open(ptsname(end_), O_RDWR | O_NOCTTY);
        for (const int stream : {1, 2}) {
            before_[stream] = dup(stream);
            dup2(terminal, stream);
        }
        close(terminal);
    }
    ~CTerminal()
    {
        Leave();
        close(end_);
    }
    /// @return what was sent to it
    std::string Leave()
    {
        std::fflush(stdout);
        bool isFirst = false;
        for (const int stream : {1, 2})
            if (const int before = std::exchange(before_[stream], 0); before != 0) {
                dup2(before, stream);
                close(before);
                isFirst = true;
            }
        // Nobody holds the terminal any more, so that reading comes to an end.
        std::string text;
        std::array<char, 4096> part;
        for (ssize_t size; isFirst && (size = read(end_, part.data(), part.size())) > 0;)
            text.append(part.data(), static_cast<std::size_t>(size));
        return text;
    }

private:
    int end_;
    std::array<int, 3> before_{};
};

TEST_F(Commands, SendATerminalNothingThatItActsOn)
{
    Write("bad.tsv", ReportBytes("BIOS|0|Version|\x1B[31m\u202E\u009B\n"));
    for (const char* form : {"csv", "json"}) {
        ExitCode result = ExitCode::kDone;
        CCommandLine commandLine{"", "orreryctl", ""};
        AddConvertCommand(commandLine, &result);
        CTerminal terminal;
        commandLine.Run({form, "--to", folder_.Path("bad.tsv"), "convert"});
        const std::string shown = terminal.Leave();
        EXPECT_NE(shown.find("Version"), std::string::npos);
        for (const char* wrong : {"\x1B", "\u202E", "\u009B"})
            EXPECT_EQ(shown.find(wrong), std::string::npos) << form;
    }
    CTerminal terminal;
    PrintError("the report \"a\x1B[2Jb\" cannot be read\nsecond line");
    EXPECT_EQ(terminal.Leave(),
              "orreryctl: the report \"a\\x1B[2Jb\" cannot be read\r\nsecond line\r\n");
}

TEST_F(Commands, WriteThroughPipes)
{
    const std::string pipe = folder_.Path("pipe");
    // Nothing here may be a device of the system: a fault would put a file in its place.
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int end = open(pipe.c_str(), O_RDWR | O_NONBLOCK);
    EXPECT_EQ(Run("convert @a.tsv --to csv -o @pipe"), 0) << message_;
    EXPECT_TRUE(fs::is_fifo(pipe));
    std::array<char, 9> start{};
    EXPECT_EQ(read(end, start.data(), 8), 8);
    EXPECT_STREQ(start.data(), "machine,");
    close(end);

    // The test's own standard output is an ordinary file while it is captured.
    testing::internal::CaptureStdout();
    Print("before ");
    WriteOutputFile("/dev/fd/1", [](const TextSink& sink) { sink("after"); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "before after");
}

TEST_F(Commands, ReadStandardInput)
{
    const int before = dup(0);
    for (const char* arguments :
         {"show - bios", "get - BIOS.Version", "summary -", "check -", "diff - @b.tsv --all",
          "diff @b.tsv -", "convert - --to html", "redact - -"}) {
        const std::string typed = arguments;
        std::string named = typed;
        named.replace(named.find(" -") + 1, 1, "@a.tsv");
        const int code = Run(named);
        const std::string expected = output_;
        const int input = open(folder_.Path("a.tsv").c_str(), O_RDONLY);
        dup2(input, 0);
        close(input);
        std::clearerr(stdin);
        EXPECT_EQ(Run(typed), code) << arguments;
        EXPECT_NE((output_ + message_).find("standard input"), message_.npos) << arguments;
        if (!typed.starts_with("check")) {  // which names its report
            EXPECT_EQ(output_, expected) << arguments;
        }
    }
    dup2(before, 0);
    close(before);
}

TEST_F(Commands, KeepTheEarlierFileWhenTheDiskTakesNoMore)
{
    const std::string earlier = folder_.Read("b.tsv");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit little{20, before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &little);
    EXPECT_EQ(Run("redact @a.tsv @b.tsv"), 3);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_NE(message_.find("cannot be written: File too large; choose"), std::string::npos)
        << message_;
    EXPECT_EQ(folder_.Read("b.tsv"), earlier);
    EXPECT_EQ(folder_.Count(), 4U);
}
#endif

}  // namespace
}  // namespace orrery
