// SPDX-License-Identifier: MIT
#include <tests/support/fakenetworkaccessmanager.h>

#include <QIODevice>

#include <utility>

FakeNetworkAccessManager::FakeNetworkAccessManager(Receiver receiver, QObject *parent)
    : FakeNetworkAccessManager(
        std::move(receiver),
        [](Operation operation, const QNetworkRequest &request, const QByteArray &body, QObject *owner) {
            return new FakeReply(operation, request, body, owner);
        },
        parent)
{
}

FakeNetworkAccessManager::FakeNetworkAccessManager(Receiver receiver, Maker maker, QObject *parent)
    : QNetworkAccessManager(parent)
    , m_receiver(std::move(receiver))
    , m_maker(std::move(maker))
{
}

QNetworkReply *FakeNetworkAccessManager::createRequest(Operation operation, const QNetworkRequest &request,
                                                       QIODevice *outgoingData)
{
    const QByteArray body = outgoingData ? outgoingData->readAll() : QByteArray();
    FakeReply *const reply = m_maker(operation, request, body, this);
    m_receiver(reply);
    return reply;
}
