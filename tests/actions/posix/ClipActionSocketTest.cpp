// A clip end to end natively: the real hand-off over the socket to a listener that speaks the
// documented protocol, and the real report on standard error.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "../ClipActionTestSupport.h"
#include "core/EnglishTexts.h"
#include "core/Exceptions.h"
#include "notes/ExportDocument.h"

namespace Tessarix::Testing {
namespace {

struct Received {
    std::uint64_t flag = 0;
    std::string bytes;
};

bool ReadExactly(int fd, void* out, std::size_t size) {
    auto* p = static_cast<char*>(out);
    while (size > 0) {
        const ssize_t got = ::recv(fd, p, size, 0);
        if (got <= 0)
            return false;
        p += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

std::uint64_t Little(const unsigned char* p, int size) {
    std::uint64_t value = 0;
    for (int i = size - 1; i >= 0; --i)
        value = (value << 8) | p[i];
    return value;
}

void Answer(int fd, std::uint32_t value) {
    const unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                                    static_cast<unsigned char>(value >> 16),
                                    static_cast<unsigned char>(value >> 24)};
    ::send(fd, bytes, sizeof bytes, MSG_NOSIGNAL);
}

// A desktop client in the runtime folder: answers the ping with 64 and every document with
// `documentAnswer`, recording what it took.
class Client {
public:
    Client(const std::string& path, std::uint32_t documentAnswer) : documentAnswer_(documentAnswer) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0)
            << std::strerror(errno);
        EXPECT_EQ(::listen(fd_, 4), 0);
        thread_ = std::thread([this] { Serve(); });
    }
    ~Client() { Stop(); }

    const std::vector<Received>& Stop() {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
        return received_;
    }

private:
    void Serve() {
        while (!stop_) {
            pollfd entry{fd_, POLLIN, 0};
            if (::poll(&entry, 1, 20) <= 0)
                continue;
            const int connection = ::accept(fd_, nullptr, nullptr);
            if (connection < 0)
                continue;
            const timeval limit{5, 0};
            ::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            Handle(connection);
            ::close(connection);
        }
    }

    void Handle(int fd) {
        char ping[14];
        if (!ReadExactly(fd, ping, sizeof ping) || std::string(ping, sizeof ping) != "TXCLIPPER_PING")
            return;
        Answer(fd, 64);
        unsigned char header[24];
        if (!ReadExactly(fd, header, sizeof header) || Little(header, 4) != 74)
            return;
        Received document;
        document.flag = Little(header + 12, 8);
        document.bytes.resize(static_cast<std::size_t>(Little(header + 20, 4)));
        if (!ReadExactly(fd, document.bytes.data(), document.bytes.size()))
            return;
        received_.push_back(std::move(document));
        Answer(fd, documentAnswer_);
    }

    std::uint32_t documentAnswer_;
    std::vector<Received> received_;
    std::atomic<bool> stop_{false};
    int fd_ = -1;
    std::thread thread_;
};

class ClipOverSocket : public ::testing::Test {
protected:
    void SetUp() override {
        OpenItemLog();
        char folder[] = "/tmp/tx-actions-run-XXXXXX";
        ASSERT_NE(::mkdtemp(folder), nullptr);
        runtime_ = folder;
        ::setenv("XDG_RUNTIME_DIR", runtime_.c_str(), 1);
        Ui::SetShiftFromCommandLine(false);
    }
    void TearDown() override {
        Ui::SetShiftFromCommandLine(false);
        std::error_code ignored;
        std::filesystem::remove_all(runtime_, ignored);
    }
    std::string SocketPath() const { return runtime_ + "/tessarix-txclipper.sock"; }

    // Runs the clip with the platform's own user interface; returns what it wrote to standard error.
    static std::string Clip(ScriptedAction::Script notes) {
        ScriptedAction action(std::move(notes));
        ::testing::internal::CaptureStderr();
        action.Execute();
        return ::testing::internal::GetCapturedStderr();
    }

private:
    std::string runtime_;
};

TEST_F(ClipOverSocket, DeliversTheDocumentWithTheCommandLineShift) {
    Client client(SocketPath(), 1);
    Ui::SetShiftFromCommandLine(true);
    const Notes::NoteList notes = SampleNotes();
    LogWatch log;

    EXPECT_EQ(Clip([&] { return notes; }), "");

    const auto& received = client.Stop();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].flag, 1u);
    EXPECT_EQ(received[0].bytes, Notes::BuildExportDocument(notes));
    EXPECT_EQ(received[0].bytes, ReadDump());
    EXPECT_THAT(log.Lines("Info"), ::testing::Contains("Info: ClipAction::DoExecute complete"));
    EXPECT_THAT(log.Lines("Critical"), ::testing::IsEmpty());
}

TEST_F(ClipOverSocket, ClientMissingIsReportedOnStandardError) {
    LogWatch log;
    EXPECT_EQ(Clip([] { return SampleNotes(); }), "Error message: " TX_TEXT_EN_107 "\n");
    EXPECT_THAT(
        log.Lines("Critical"),
        ::testing::ElementsAre("Critical: BaseException(unknown type) is thrown, msg - " TX_TEXT_EN_107 "."));
}

TEST_F(ClipOverSocket, ClientRefusingIsReportedOnStandardError) {
    Client client(SocketPath(), 0);
    LogWatch log;
    EXPECT_EQ(Clip([] { return SampleNotes(); }), "Error message: " TX_TEXT_EN_108 "\n");
    EXPECT_EQ(client.Stop().size(), 1u) << "a refusal is not retried";
    EXPECT_THAT(
        log.Lines("Critical"),
        ::testing::ElementsAre("Critical: BaseException(unknown type) is thrown, msg - " TX_TEXT_EN_108 "."));
}

TEST_F(ClipOverSocket, WriterFailureSendsNothing) {
    Client client(SocketPath(), 1);
    LogWatch log;
    EXPECT_EQ(Clip([] { return Notes::NoteList{NoteWithAuthor(u"\u0001")}; }),
              "Unexpected error: Unexpected error during note creation.\n");
    EXPECT_THAT(client.Stop(), ::testing::IsEmpty());
    EXPECT_THAT(log.Lines("Critical"), ::testing::ElementsAre("Critical: Unexpected error occurs."));
}

TEST_F(ClipOverSocket, MultiLineTextsGiveOneCaptionedLineEach) {
    Client client(SocketPath(), 1);
    EXPECT_EQ(
        Clip([]() -> Notes::NoteList { throw CanNotCreateNoteException(u"loading"); }),
        "Tessarix can not create note: Tessarix cannot create a note from this web page because it is not "
        "fully loaded.\n"
        "Tessarix can not create note: Please wait until the page is loaded and try again.\n");
    EXPECT_THAT(client.Stop(), ::testing::IsEmpty());
}

} // namespace
} // namespace Tessarix::Testing
