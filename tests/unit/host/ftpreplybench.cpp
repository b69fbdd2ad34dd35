// SPDX-License-Identifier: MIT
#include <tests/unit/host/ftpreplybench.h>

#include <host/network/sharedcookiejar.h>

#include <QTest>

using namespace Qt::StringLiterals;

FtpReplyBench::Recorder::Recorder(QNetworkReply *reply, bool reads)
{
    connect(reply, &QNetworkReply::metaDataChanged, this, [this] { events.append(u"head"_s); });
    connect(reply, &QNetworkReply::readyRead, this, [this, reply, reads] {
        if (events.isEmpty() || events.last() != "data"_L1)
            events.append(u"data"_s);
        if (reads)
            body += reply->readAll();
    });
    connect(reply, &QNetworkReply::errorOccurred, this, [this](Error code) { events.append(u"error %1"_s.arg(code)); });
    connect(reply, &QNetworkReply::finished, this, [this] { events.append(u"finished"_s); });
}

bool FtpReplyBench::Recorder::wait() const
{
    return QTest::qWaitFor([this] { return events.contains(u"finished"_s); }, FtpServer::kPatienceMs);
}

QStringList FtpReplyBench::failureWith(Error code)
{
    return {u"error %1"_s.arg(code), u"finished"_s};
}

void FtpReplyBench::initTestCase()
{
    qRegisterMetaType<Error>();
}

void FtpReplyBench::init()
{
    m_server = std::make_unique<FtpServer>();
    QVERIFY2(m_server->isListening(), qPrintable(m_server->errorText()));
    QVERIFY(m_server->addFile(u"file"_s, kSeed, kSize));
    m_manager = std::make_unique<GuardedNetworkAccessManager>(QSharedPointer<SharedCookieJar>::create());
}

void FtpReplyBench::cleanup()
{
    m_manager.reset();
    m_server.reset();
}

QNetworkReply *FtpReplyBench::get(const QUrl &url, const QByteArray &range)
{
    QNetworkRequest request(url);
    if (!range.isEmpty())
        request.setRawHeader("Range", range);
    return m_manager->get(request);
}
