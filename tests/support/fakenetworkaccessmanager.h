// SPDX-License-Identifier: MIT
#pragma once

#include <tests/support/fakereply.h>

#include <QNetworkAccessManager>

#include <functional>

/// A manager whose every request is answered by a FakeReply, which the test then plays.
class FakeNetworkAccessManager : public QNetworkAccessManager
{
    Q_OBJECT

public:
    using Receiver = std::function<void(FakeReply *)>;

    using Maker = std::function<FakeReply *(Operation operation, const QNetworkRequest &request, const QByteArray &body,
                                            QObject *parent)>;

    /// `receiver` is given each reply as it is made, which stays the manager's child.
    explicit FakeNetworkAccessManager(Receiver receiver, QObject *parent = nullptr);
    /// Replies of another kind.
    FakeNetworkAccessManager(Receiver receiver, Maker maker, QObject *parent = nullptr);

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request, QIODevice *outgoingData) override;

private:
    const Receiver m_receiver;
    const Maker m_maker;

    Q_DISABLE_COPY_MOVE(FakeNetworkAccessManager)
};
