// SPDX-License-Identifier: BSD-2-Clause

#include "examples/gateway/StatusSocket.h"

#include "examples/gateway/EventLoop.h"

#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Velmora::Test
{

namespace
{

using GatewayExample::Descriptor;
using GatewayExample::EventLoop;
using GatewayExample::StatusSocket;

class GatewayStatusSocket : public testing::Test
{
  protected:
    /// Asks while the loop runs.
    std::string ask()
    {
        std::string strAnswer;
        std::atomic<bool> bDone = false;
        std::thread asker(
            [&]
            {
                strAnswer = StatusSocket::ask(m_strPath);
                bDone = true;
            });
        while (!bDone)
            m_loop.step();
        asker.join();
        return strAnswer;
    }

    /// Returns why nothing listens at a path.
    std::string failureAt(const std::string& in_strPath)
    {
        try
        {
            const StatusSocket socket(m_loop, in_strPath, [] { return std::string(); });
            return {};
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
    }

    static std::string failureOfAsking(const std::string& in_strPath)
    {
        try
        {
            return StatusSocket::ask(in_strPath);
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
    }

    /// Leaves a socket behind, as a process that is killed does.
    void leaveSocket() const
    {
        const Descriptor leftover(socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_strPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
        ASSERT_EQ(0, bind(leftover.number(), reinterpret_cast<const sockaddr*>(&address),
                          sizeof(address)));
    }

    TemporaryDirectory m_directory;
    std::string m_strPath = m_directory.file("run/socket");
    EventLoop m_loop;
};

} // namespace

TEST_F(GatewayStatusSocket, AnswersEachWhoAsks)
{
    int iAsked = 0;
    const StatusSocket socket(m_loop, m_strPath,
                              [&iAsked] { return "answer " + std::to_string(++iAsked); });
    EXPECT_EQ("answer 1", ask());
    EXPECT_EQ("answer 2", ask());
}

TEST_F(GatewayStatusSocket, GivesALongAnswerWhole)
{
    const std::string strLong(100'000, 'x');
    const StatusSocket socket(m_loop, m_strPath, [&strLong] { return strLong; });
    EXPECT_EQ(strLong, ask());
}

TEST_F(GatewayStatusSocket, IsForItsOwnerAloneAndGoesWithTheObject)
{
    {
        const StatusSocket socket(m_loop, m_strPath, [] { return std::string(); });
        struct stat status
        {
        };
        ASSERT_EQ(0, stat(m_strPath.c_str(), &status));
        EXPECT_EQ(S_IFSOCK | 0600U, status.st_mode);
    }
    EXPECT_FALSE(std::filesystem::exists(m_strPath));
}

TEST_F(GatewayStatusSocket, ReplacesOneThatAKilledProcessHasLeft)
{
    std::filesystem::create_directory(m_directory.path() / "run");
    leaveSocket();
    EXPECT_EQ("no status at " + m_strPath + " : the gateway that listened there was killed",
              failureOfAsking(m_strPath));
    const StatusSocket socket(m_loop, m_strPath, [] { return "new"; });
    EXPECT_EQ("new", ask());
}

TEST_F(GatewayStatusSocket, DoesNotTakeThePlaceOfOneThatListens)
{
    const StatusSocket socket(m_loop, m_strPath, [] { return "first"; });
    EXPECT_EQ("no status at " + m_strPath + " : another process listens there",
              failureAt(m_strPath));
    EXPECT_EQ("first", ask());
}

TEST_F(GatewayStatusSocket, DoesNotRemoveAFile)
{
    const std::string strFile = m_directory.file("file");
    std::ofstream(strFile) << "content";
    EXPECT_EQ("no status at " + strFile + " : something else than a socket is there",
              failureAt(strFile));
    EXPECT_EQ("content", m_directory.read("file"));
}

TEST_F(GatewayStatusSocket, ReportsAPathThatCannotBeASocket)
{
    const std::string strLong = m_directory.file(std::string(200, 'x'));
    EXPECT_EQ("no status at " + strLong + " : the path of a socket has 1 to 107 bytes",
              failureAt(strLong));
    EXPECT_EQ("no status at /proc/none/socket : No such file or directory",
              failureAt("/proc/none/socket"));
}

TEST_F(GatewayStatusSocket, SaysToWhoAsksThatNoGatewayRuns)
{
    EXPECT_EQ("no status at " + m_strPath + " : no gateway with this configuration runs",
              failureOfAsking(m_strPath));
}

TEST_F(GatewayStatusSocket, GoesOnIfWhoAsksDoesNotRead)
{
    const StatusSocket socket(m_loop, m_strPath,
                              []
                              {
                                  std::string strAnswer;
                                  strAnswer.resize(10'000'000, 'x');
                                  return strAnswer;
                              });
    std::vector<std::unique_ptr<Descriptor>> askers;
    for (int i = 0; i < 4; ++i)
    {
        askers.push_back(std::make_unique<Descriptor>(::socket(AF_UNIX, SOCK_STREAM, 0)));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_strPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
        ASSERT_EQ(0, connect(askers.back()->number(), reinterpret_cast<const sockaddr*>(&address),
                             sizeof(address)));
        m_loop.step();
    }
    EXPECT_THAT(ask(), testing::StartsWith("xxx"));
}

TEST_F(GatewayStatusSocket, LetsTheLoopRestWhileThereIsNoDescriptorAndAnswersLater)
{
    const StatusSocket socket(m_loop, m_strPath, [] { return "late"; });
    const Descriptor asker(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    m_strPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(
        0, connect(asker.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
    rlimit limit{};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
    const rlimit none{3, limit.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    m_loop.step();
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    // The connection still waits. It does not wake the loop before the pause is over.
    int iSteps = 0;
    std::string strText(4, '\0');
    for (; recv(asker.number(), strText.data(), strText.size(), MSG_DONTWAIT) < 0; ++iSteps)
        m_loop.step();
    EXPECT_LT(iSteps, 10);
    EXPECT_EQ("late", strText);
}

} // namespace Velmora::Test
