#include "TxClipRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "cli/Samples.h"

extern char** environ;

namespace Tessarix::Testing {

namespace {

class Fd {
public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() { Reset(); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int Get() const { return fd_; }
    void Reset(int fd = -1) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_;
};

std::vector<std::string> Environment(const RunOptions& options) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        const bool replaced = std::any_of(options.environment.begin(), options.environment.end(),
                                          [&](const auto& pair) { return pair.first == name; });
        if (!replaced)
            environment.push_back(text);
    }
    for (const auto& [name, value] : options.environment)
        environment.push_back(name + "=" + value);
    return environment;
}

std::vector<char*> Pointers(std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    for (auto& text : strings)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Reads both outputs to their end at the same time, so that neither pipe fills up.
void Drain(int outFd, int errFd, std::string& out, std::string& err) {
    pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
    std::string* targets[2] = {&out, &err};
    int open = 2;
    while (open > 0) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            ADD_FAILURE() << "poll: " << std::strerror(errno);
            return;
        }
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || fds[i].revents == 0)
                continue;
            char buffer[65536];
            const ssize_t got = ::read(fds[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                targets[i]->append(buffer, static_cast<std::size_t>(got));
            } else if (got == 0 || errno != EINTR) {
                // End of a pipe; a pseudo-terminal whose other side closed answers EIO.
                fds[i].fd = -1;
                --open;
            }
        }
    }
}

} // namespace

RunResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                     const RunOptions& options) {
    RunResult result;
    int outPipe[2], errPipe[2] = {-1, -1};
    if (::pipe2(outPipe, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "pipe";
        return result;
    }
    Fd outRead(outPipe[0]), outWrite(outPipe[1]);
    Fd errRead, errWrite;
    if (options.stderrIsTerminal) {
        const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) {
            ADD_FAILURE() << "no pseudo-terminal";
            return result;
        }
        errRead.Reset(master);
        errWrite.Reset(::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC));
    } else {
        if (::pipe2(errPipe, O_CLOEXEC) != 0) {
            ADD_FAILURE() << "pipe";
            return result;
        }
        errRead.Reset(errPipe[0]);
        errWrite.Reset(errPipe[1]);
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outWrite.Get(), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errWrite.Get(), STDERR_FILENO);

    std::vector<std::string> argv{program};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = Environment(options);
    auto argvPointers = Pointers(argv);
    auto environmentPointers = Pointers(environment);
    pid_t pid = 0;
    const int spawned = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argvPointers.data(),
                                      environmentPointers.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
        ADD_FAILURE() << "cannot run " << program << ": " << std::strerror(spawned);
        return result;
    }
    outWrite.Reset();
    errWrite.Reset();
    Drain(outRead.Get(), errRead.Get(), result.out, result.err);

    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.exited = WIFEXITED(status);
    result.status = result.exited ? WEXITSTATUS(status) : WTERMSIG(status);
    return result;
}

std::string ReadFileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

void WriteFileBytes(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file.good()) << path;
}

std::vector<std::string> Entries(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TxClipTest::TxClipTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "txclip-test-XXXXXX").string();
    if (!::mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed");
    root_ = pattern;
    items_ = root_ / "items";
    out_ = root_ / "out";
    run_ = root_ / "run";
    for (const auto& folder : {items_, out_, run_, root_ / "state"})
        std::filesystem::create_directory(folder);
}

TxClipTest::~TxClipTest() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

std::string TxClipTest::Sample(const std::string& fileName) {
    for (const auto& sample : Cli::Samples::Items())
        if (sample.fileName == fileName)
            return Item(sample.message, fileName);
    ADD_FAILURE() << "no sample " << fileName;
    return {};
}

std::string TxClipTest::Item(const Msg::MessageData& message, const std::string& fileName) {
    const auto path = items_ / fileName;
    Msg::MsgWriter::WriteFile(message, path);
    return path.string();
}

std::string TxClipTest::CorruptSample(const std::string& fileName) {
    auto files = Cli::Samples::CorruptItems();
    for (auto& damaged : Cli::Samples::DamagedItems())
        files.push_back(std::move(damaged));
    for (const auto& sample : files)
        if (sample.fileName == fileName) {
            WriteFileBytes(items_ / fileName, sample.bytes);
            return (items_ / fileName).string();
        }
    ADD_FAILURE() << "no corrupt sample " << fileName;
    return {};
}

RunResult TxClipTest::Run(const std::vector<std::string>& arguments, RunOptions options) {
    options.environment.insert(options.environment.begin(),
                               {{"XDG_STATE_HOME", (root_ / "state").string()},
                                {"XDG_RUNTIME_DIR", run_.string()},
                                {"TZ", "UTC"},
                                // Distinct statuses: a sanitizer report is never mistaken for a failure
                                // txclip reports itself.
                                {"ASAN_OPTIONS", "exitcode=86:detect_leaks=1"},
                                {"UBSAN_OPTIONS", "exitcode=87:halt_on_error=1:print_stacktrace=1"}});
    return RunProgram(TXCLIP_PATH, arguments, options);
}

std::string TxClipTest::ClipToFile(const std::vector<std::string>& items) {
    std::vector<std::string> arguments = items;
    const std::string output = (out_ / "clip.xml").string();
    arguments.insert(arguments.end(), {"-o", output});
    const RunResult result = Run(arguments);
    ExpectCleanExit(result);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "");
    return ReadFileBytes(output);
}

void ExpectCleanExit(const RunResult& result) {
    EXPECT_TRUE(result.exited) << "ended by signal " << result.status << "\n" << result.err;
    EXPECT_NE(result.status, 86) << result.err;
    EXPECT_NE(result.status, 87) << result.err;
    EXPECT_EQ(result.err.find("Sanitizer"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("runtime error"), std::string::npos) << result.err;
}

} // namespace Tessarix::Testing
