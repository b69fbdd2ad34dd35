// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractnetworkaccesschief.h>
#include <tests/unit/host/network/transferbench.h>

#include <QTest>

#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

constexpr qint64 kWindow = 32 * 1024;
constexpr qint64 kFree = 131072;

bool leadsTo(int socket, quint16 port)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return ::getpeername(socket, reinterpret_cast<sockaddr *>(&address), &size) == 0 && address.sin_family == AF_INET
        && ntohs(address.sin_port) == port;
}

/// Bytes that the kernel takes in on this program's one connection to the port; -1 = there is none.
int receiveBufferAt(quint16 port)
{
    constexpr int kMostDescriptors = 1024;
    for (int socket = 0; socket < kMostDescriptors; ++socket) {
        int bytes = 0;
        socklen_t size = sizeof bytes;
        if (leadsTo(socket, port) && ::getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, &size) == 0)
            return bytes;
    }
    return -1;
}

}

/// A reader with a small window bounds what the kernel takes in for it.
class TestHeldBack : public TransferBench
{
    Q_OBJECT

private Q_SLOTS:
    void theKernelTakesInLittleForAReaderThatIsHeldBack_data();
    void theKernelTakesInLittleForAReaderThatIsHeldBack();
    void theKernelTakesInNoMoreThanIsReadInASecond();
    void theKernelIsFreeAgainWhenTheReaderIs();
    void aConnectionThatWasHeldBackIsNotUsedAgain();
};

void TestHeldBack::theKernelTakesInLittleForAReaderThatIsHeldBack_data()
{
    QTest::addColumn<bool>("isKnownBefore");
    QTest::newRow("the window is known before the connection is made") << true;
    QTest::newRow("the window shrinks when the head has come") << false;
}

void TestHeldBack::theKernelTakesInLittleForAReaderThatIsHeldBack()
{
    QFETCH(bool, isKnownBefore);
    holdFileAfter(100);
    const Reply reply = get();
    if (isKnownBefore)
        reply->setReadBufferSize(kWindow);
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    reply->setReadBufferSize(isKnownBefore ? kWindow : kWindow / 2);
    // The kernel doubles what it is told, for its own needs.
    QTRY_VERIFY(receiveBufferAt(m_server->port()) <= 2 * kWindow);
    QVERIFY(receiveBufferAt(m_server->port()) > 0);
}

void TestHeldBack::theKernelTakesInNoMoreThanIsReadInASecond()
{
    constexpr int kLimit = 200000;
    holdFileAfter(100);
    const Reply reply = get();
    reply->setReadBufferSize(kFree);
    reply->setProperty(AbstractNetworkAccessChief::kDownloadLimit, qint64(kLimit));
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    QTRY_VERIFY(receiveBufferAt(m_server->port()) <= 2 * kLimit);
    reply->setProperty(AbstractNetworkAccessChief::kDownloadLimit, qint64(0));
    QTRY_VERIFY(receiveBufferAt(m_server->port()) != 2 * kLimit);
}

void TestHeldBack::theKernelIsFreeAgainWhenTheReaderIs()
{
    holdFileAfter(100);
    const Reply reply = get();
    reply->setReadBufferSize(kWindow);
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    QTRY_VERIFY(receiveBufferAt(m_server->port()) <= 2 * kWindow);
    reply->setReadBufferSize(kFree);
    QTRY_VERIFY(receiveBufferAt(m_server->port()) > int(kFree));
}

void TestHeldBack::aConnectionThatWasHeldBackIsNotUsedAgain()
{
    holdFileAfter(100);
    const Reply reply = get();
    reply->setReadBufferSize(kWindow);
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    m_server->release();
    const Recorder recorder(reply.get());
    QVERIFY(recorder.wait());
    m_server->setResponse("/other", ScriptedResponse::ok("other"));
    const Reply other = get("/other");
    const Recorder second(other.get());
    QVERIFY(second.wait());
    QCOMPARE(m_server->connectionCount(), 2);
}

QTEST_GUILESS_MAIN(TestHeldBack)
#include "tst_heldback.moc"
