// SPDX-License-Identifier: MIT
#include <tests/support/fakenetworkaccessmanager.h>

#include <QIODevice>

#include <utility>

FakeNetworkAccessManager::FakeNetworkAccessManager(Receiver receiver, QObject *parent)
    : QNetworkAccessManager(parent)
    , m_receiver(std::move(receiver))
{
}

QNetworkReply *FakeNetworkAccessManager::createRequest(Operation operation, const QNetworkRequest &request,
                                                       QIODevice *outgoingData)
{
    const QByteArray body = outgoingData ? outgoingData->readAll() : QByteArray();
    FakeReply *const reply = new FakeReply(operation, request, body, this);
    m_receiver(reply);
    return reply;
}
