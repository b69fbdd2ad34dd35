// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/ftpdialogue.h>
#include <host/network/transfer.h>

#include <optional>

/// A file on an FTP server, told as an HTTP answer would be, so that who downloads needs to know one kind of answer
/// only.
///
///     asking ── transfer begins ──> receiving ── announced length is there ──> told: whole
///      │ ^                             └─ ends before, or with an error ────> told: its error
///      │ └─ cannot begin in the middle: once more, for all of it
///      └──── refused, no such file, nothing behind the range's start ───────> told: its error, or 416
///
/// The head has status 200, or 206 where the request's Range was obeyed, a Content-Type that says nothing in
/// particular, and what the server told: Content-Length (SIZE), Content-Range, Accept-Ranges (it understands REST),
/// Last-Modified (MDTM). Without a size there are no ranges: then a request with one gets the whole file and 200. A
/// range that begins behind the end gets 416.
class FtpTransfer : public Transfer
{
public:
    /// The login is never shown.
    FtpTransfer(const TransferRequest &request, std::shared_ptr<TransferMeans> means);
    ~FtpTransfer() override;

    /// Why a file cannot be asked for at all; empty = it can.
    static QString refusal(const TransferRequest &request);

    void prepare() override;
    Next onTurn() override;
    Next onEnded(CURLcode code) override;
    void release() override;

protected:
    bool takeHeadLine(QByteArrayView line) override;
    Taken takeBody(QByteArrayView data) override;

private:
    struct Range {
        qint64 first = 0;
        qint64 last = -1; ///< -1 = the file's end
    };
    struct ListDelete {
        void operator()(curl_slist *list) const { curl_slist_free_all(list); }
    };

    static std::optional<Range> rangeFrom(const QByteArray &header);

    void prepareLogin();
    void prepareRange();
    Next askForAll();

    Next onBegun();
    void tellHead();
    Next tellNotSatisfiable();
    Next endWith(CURLcode code);
    QString textFor(QNetworkReply::NetworkError error, CURLcode code) const;

    bool isBehindEnd() const;
    qint64 announcedLength() const;
    QByteArray lastModified() const;
    bool isWhole() const { return m_received == announcedLength(); }

    std::unique_ptr<curl_slist, ListDelete> m_questions; ///< asked before the transfer begins
    std::optional<Range> m_range;
    FtpDialogue m_dialogue;
    bool m_isHeadTold = false;
    bool m_isBodyWaiting = false; ///< until the head is told
    qint64 m_received = 0;
};
