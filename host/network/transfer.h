// SPDX-License-Identifier: MIT
#pragma once

#include <host/network/transferpipe.h>
#include <host/network/transferrequest.h>

#include <curl/curl.h>

#include <memory>

/// One request and its answer, as the network thread sees it.
///
/// The reply holds it and its pipe; the loop holds it while it runs. Everything but pipe() and means() belongs to the
/// loop's thread from the moment it was given to the loop. Of each kind of server there is one class (HttpTransfer,
/// FtpTransfer).
class Transfer
{
    Q_DISABLE_COPY_MOVE(Transfer)

public:
    /// What the loop has to do with it next.
    enum class Next {
        GoOn,
        AskAgain, ///< from the beginning, with the handle as it is now
        Leave, ///< the end has been told
    };

    static std::shared_ptr<Transfer> make(const TransferRequest &request, std::shared_ptr<TransferMeans> means);
    virtual ~Transfer();

    TransferPipe &pipe() { return m_pipe; }

    CURL *handle() const { return m_handle.get(); }
    /// Makes the handle ready to be run.
    virtual void prepare();
    /// libcurl has been at work, for this transfer or for another one. libcurl may be called.
    virtual Next onTurn() { return Next::GoOn; }
    /// libcurl has brought what there was: the reader learns of it.
    void tellBody();
    /// The handle has left libcurl by itself.
    virtual Next onEnded(CURLcode code) = 0;
    /// The reader has room again.
    void resume();
    /// The reader wants no more than @p bytes to lie anywhere between the server and itself; 0 = as much as is good.
    /// @param socket of its connection; CURL_SOCKET_BAD = there is none yet
    void holdBack(qint64 bytes, curl_socket_t socket);
    qint64 heldTo() const { return m_heldTo; }
    /// The wish came while the connection was being made, and has to be repeated once it is there.
    bool isHoldDue() const { return m_isHoldDue; }
    /// Gives back what it needed to run; it does not run again.
    virtual void release() { m_handle.reset(); }

protected:
    Transfer(const TransferRequest &request, std::shared_ptr<TransferMeans> means);

    enum class Taken {
        All,
        NothingYet, ///< libcurl keeps it until resume()
        Refused, ///< the transfer cannot go on
    };

    /// One line of the head as it came. False = the transfer cannot go on.
    virtual bool takeHeadLine(QByteArrayView line) = 0;
    /// Part of the body as it came.
    virtual Taken takeBody(QByteArrayView data) = 0;

    /// Passes bytes of the body on, and pauses when nobody has room for more.
    void hand(QByteArrayView data);
    /// libcurl's own words, or what its code means.
    QString wordsFor(CURLcode code) const;
    void end(QNetworkReply::NetworkError error, const QString &text);

    template<typename Value>
    void set(CURLoption option, Value value)
    {
        curl_easy_setopt(m_handle.get(), option, value);
    }
    template<typename Value>
    Value get(CURLINFO info, Value otherwise) const
    {
        curl_easy_getinfo(m_handle.get(), info, &otherwise);
        return otherwise;
    }

    const TransferRequest m_request;
    const std::shared_ptr<TransferMeans> m_means;

private:
    struct HandleDelete {
        void operator()(CURL *handle) const { curl_easy_cleanup(handle); }
    };
    struct ListDelete {
        void operator()(curl_slist *list) const { curl_slist_free_all(list); }
    };

    static size_t onHeadLine(char *line, size_t size, size_t count, void *self);
    static size_t onBody(char *data, size_t size, size_t count, void *self);
    static int onSocket(void *self, curl_socket_t socket, curlsocktype purpose);

    void preparePath();
    void prepareCertificate(const NetworkPath &path);
    void prepareProxy();

    std::unique_ptr<curl_slist, ListDelete> m_resolved; ///< outlives the handle, which reads it
    std::unique_ptr<CURL, HandleDelete> m_handle;
    QByteArray m_errorText; ///< libcurl writes here
    TransferPipe m_pipe;
    bool m_hasNewBody = false;
    qint64 m_heldTo = 0; ///< bytes that the kernel may take in; 0 = as many as it likes
    bool m_isHoldDue = false;
};
