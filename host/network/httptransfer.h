// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/answerhead.h>
#include <host/network/bodyframing.h>
#include <host/network/certificatecheck.h>
#include <host/network/chunkeddecoder.h>
#include <host/network/transfer.h>

/// One answer over http or https.
///
///     asking ── head ──> receiving ── its framing says so ──────────────> told: whole
///       │ ^               └─ the connection ends before that ───────────> told: RemoteHostClosedError
///       │ ├─ challenge that can be answered (once; libcurl looks no further than the first Digest, and where that is
///       │ │  one that nobody speaks, Basic is asked for here)
///       │ └─ something else than a head on a connection that was used before (once)
///       └── head or framing that cannot be believed ────────────────────> told: ProtocolFailure
///
/// libcurl moves the bytes and follows the framing to find the answer's end; whether what it let pass is sound is
/// decided here, on the lines and the chunks as they came.
class HttpTransfer : public Transfer
{
public:
    HttpTransfer(const TransferRequest &request, std::shared_ptr<TransferMeans> means);
    ~HttpTransfer() override;

    void prepare() override;
    Next onEnded(CURLcode code) override;
    void release() override;

protected:
    bool takeHeadLine(QByteArrayView line) override;
    Taken takeBody(QByteArrayView data) override;

private:
    struct ListDelete {
        void operator()(curl_slist *list) const { curl_slist_free_all(list); }
    };

    void prepareHeaders();
    void prepareBody();
    void prepareLogin();
    void prepareTls();
    void prepareTunnel();
    static int onTunnelIsOpen(void *self, char *, char *, int, int);

    bool onHead();
    bool mayBeAskedAgain() const;
    bool isHeadWithheld() const;
    bool isLeftoverOfAnother(CURLcode code) const;
    Next askOnNewConnection();
    bool wantsBasic() const;
    Next askWithBasic();
    void tellHead();
    bool takeChunks(QByteArrayView raw);
    bool takePlain(QByteArrayView data);
    bool complain(const QString &text);

    bool isEnded(CURLcode code) const;
    void endWithStatus();
    void endWithoutAnswer(CURLcode code);
    void endCutShort(CURLcode code);
    QString wayThere(QNetworkReply::NetworkError error) const;
    void endWithoutProxy(QNetworkReply::NetworkError error, const QString &words);

    std::unique_ptr<curl_slist, ListDelete> m_headerList;
    CertificateCheck m_check;
    std::shared_ptr<const bool> m_goodbye; ///< null = the connection is not encrypted, or there is no head yet
    AnswerHead m_proxyHead; ///< of the answer to CONNECT
    bool m_isTunnelOpen = true; ///< lines that come are the server's
    bool m_hasLogin = false; ///< for the server, and no header in its place
    bool m_wasAnswered = false; ///< a challenge; false also where the login went out unasked
    bool m_isBasic = false; ///< the login goes out unasked
    AnswerHead m_head;
    BodyFraming::Plan m_plan;
    ChunkedDecoder m_decoder;
    qint64 m_received = 0; ///< of the body, without its framing
    bool m_isHeadTold = false;
    bool m_isAskedAgain = false; ///< on a connection of its own
    QString m_complaint; ///< why the answer is not believed; empty = it is
};
