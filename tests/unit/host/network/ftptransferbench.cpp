// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/ftptransferbench.h>

#include <host/network/sharedcookiejar.h>

#include <QTest>

using namespace Qt::StringLiterals;

void FtpTransferBench::initTestCase()
{
    qRegisterMetaType<Error>();
}

void FtpTransferBench::init()
{
    m_server = std::make_unique<FtpServer>();
    QVERIFY2(m_server->isListening(), qPrintable(m_server->errorText()));
    QVERIFY(m_server->addFile(u"file"_s, kSeed, kSize));
    m_hub = std::make_shared<TransferHub>(QSharedPointer<SharedCookieJar>::create());
    m_manager = std::make_unique<TransferManager>(m_hub);
}

void FtpTransferBench::cleanup()
{
    m_manager.reset();
    m_server.reset();
}

QNetworkReply *FtpTransferBench::get(const QUrl &url, const QByteArray &range)
{
    QNetworkRequest request(url);
    if (!range.isEmpty())
        request.setRawHeader("Range", range);
    return m_manager->get(request);
}
