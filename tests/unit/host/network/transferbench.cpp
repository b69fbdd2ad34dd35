// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/transferbench.h>

#include <QTest>

void TransferBench::setUp()
{
    m_server = std::make_unique<ScriptedServer>();
    QVERIFY(m_server->isListening());
    m_server->setResponse("/file", ScriptedResponse::file(kSeed, kSize));
    m_jar = QSharedPointer<SharedCookieJar>::create();
    m_hub = std::make_shared<TransferHub>(m_jar);
    m_manager = std::make_unique<TransferManager>(m_hub);
    m_means = std::make_shared<TransferMeans>();
    m_loop = std::make_shared<TransferLoop>(m_means);
}

void TransferBench::tearDown()
{
    m_manager.reset();
    m_loop.reset();
    m_means.reset();
    m_server.reset();
}

QNetworkRequest TransferBench::request(const QByteArray &path, const QByteArray &range) const
{
    QNetworkRequest request(m_server->url(QString::fromLatin1(path)));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (!range.isEmpty())
        request.setRawHeader("Range", range);
    return request;
}

TransferBench::Reply TransferBench::get(const QByteArray &path, const QByteArray &range)
{
    return Reply(m_manager->get(request(path, range)));
}

std::unique_ptr<TransferReply> TransferBench::getDirectly(const QByteArray &path)
{
    TransferRequest asked;
    asked.url = m_server->url(QString::fromLatin1(path));
    return std::make_unique<TransferReply>(QNetworkAccessManager::GetOperation, request(path), asked,
                                           TransferReply::Way(), m_means, m_loop, m_manager.get());
}

void TransferBench::holdFileAfter(qint64 size)
{
    ScriptedResponse response = ScriptedResponse::file(kSeed, kSize);
    response.holdAfter = size;
    m_server->setResponse("/file", response);
}

QByteArray TransferBench::content(qint64 from, qint64 length)
{
    return TestFiles::content(kSeed, from, length < 0 ? kSize - from : length);
}

int TransferBench::statusOf(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}
