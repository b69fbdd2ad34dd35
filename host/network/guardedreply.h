// SPDX-License-Identifier: MIT
#pragma once

#include <QNetworkReply>

#include <memory>

/// A reply that stands before another one and lets nothing through that was not asked for.
///
///     waiting ── head fits ──> passing ── inner ends ────────────> finished
///        │                        └─ inner ends, too short ──────> finished (RemoteHostClosedError)
///        └──── partial answer that does not fit ─────────────────> finished (ProtocolFailure, no head, no data)
///
/// Everything is the inner reply's own: the body is read from it without a copy on the way, its signals come in its
/// order. Refused is a 206 that is not the piece asked for (see PartialAnswer); then neither metaDataChanged() nor data
/// comes, but one errorOccurred() and one finished(). A body that is not as long as its head said (see BodyLength) ends
/// with an error, whatever the network layer thinks of it. A login in the URL of a redirect is told by a signal and
/// shown nowhere else.
class GuardedReply : public QNetworkReply
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(GuardedReply)

public:
    /// @param inner just made, not yet started; it leaves its parent, so that only this object deletes it
    GuardedReply(std::unique_ptr<QNetworkReply> inner, QObject *parent);
    ~GuardedReply() override;

    void close() override;
    qint64 bytesAvailable() const override;
    void setReadBufferSize(qint64 size) override;

Q_SIGNALS:
    /// The URL that a redirect leads to, with its login; before metaDataChanged().
    void redirectedWithLogin(const QUrl &url);

public Q_SLOTS:
    void abort() override;
    void ignoreSslErrors() override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    void sslConfigurationImplementation(QSslConfiguration &configuration) const override;
    void setSslConfigurationImplementation(const QSslConfiguration &configuration) override;
    void ignoreSslErrorsImplementation(const QList<QSslError> &errors) override;

private:
    void onMetaDataChanged();
    void onErrorOccurred(QNetworkReply::NetworkError code);
    void onFinished();

    void relaySignals();
    QString refusal() const;
    QString complaint() const;
    void refuse(const QString &reason);
    void endWith(NetworkError code, const QString &text);
    void takeHead();
    void hideRedirectLogin();
    void takeAttributes();
    void takeRawHeaders();

    const std::unique_ptr<QNetworkReply> m_inner;
    qint64 m_bytesRead = 0;
    bool m_refused = false;
};
