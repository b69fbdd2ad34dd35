// SPDX-License-Identifier: MIT
#include <host/network/ftptransfer.h>

#include <host/network/transfererrors.h>
#include <host/parsing/authchallenges.h>
#include <host/policy/proxychoice.h>

#include <QDateTime>
#include <QLocale>
#include <QRegularExpression>
#include <QTimeZone>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kNotSatisfiable = 416;

/// libcurl waits, without going on with anything else, for the server's word that an ended transfer was complete.
constexpr long kPatienceAtEndSeconds = 3;

/// Servers of this kind say nothing of it, and who reads heads takes an answer without a type for a page.
const QByteArray kFileType = QByteArrayLiteral("application/octet-stream");

bool hasControlCharacter(const QString &text)
{
    return std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c < u' ' || c == u'\x7f'; });
}

void addField(TransferPipe::Head &head, const char *name, const QByteArray &value)
{
    head.fields.append({QByteArray(name), value});
}

/// What stands behind a "?" belongs to the name, as FTP knows no queries; a type is not for us to choose: a file that
/// is not sent as it is has no offsets.
QUrl plainUrl(QUrl url)
{
    static const QRegularExpression type(u";type=[^/]*$"_s, QRegularExpression::CaseInsensitiveOption);
    QString path = url.path(QUrl::FullyEncoded);
    if (url.hasQuery())
        path += "%3F"_L1 + url.query(QUrl::FullyEncoded);
    url.setPath(path.remove(type), QUrl::TolerantMode);
    url.setQuery(QString());
    url.setFragment(QString());
    url.setUserInfo(QString());
    return url;
}

}

FtpTransfer::FtpTransfer(const TransferRequest &request, std::shared_ptr<TransferMeans> means)
    : Transfer(request, std::move(means))
    , m_range(rangeFrom(request.range))
{
}

FtpTransfer::~FtpTransfer() = default;

QString FtpTransfer::refusal(const TransferRequest &request)
{
    const QUrl &url = request.url;
    if (url.path().isEmpty() || url.path().endsWith(u'/'))
        return u"The address names a folder, not a file."_s;
    if (hasControlCharacter(request.login.user) || hasControlCharacter(request.login.password)
        || hasControlCharacter(url.path(QUrl::FullyDecoded)))
        return u"The address holds control characters."_s;
    return {};
}

void FtpTransfer::prepare()
{
    Transfer::prepare();
    set(CURLOPT_URL, plainUrl(m_request.url).toEncoded(QUrl::FullyEncoded).constData());
    set(CURLOPT_PROTOCOLS_STR, "ftp");
    set(CURLOPT_FILETIME, 1L);
    set(CURLOPT_HTTPPROXYTUNNEL, 1L);
    prepareLogin();
    prepareRange();
}

Transfer::Next FtpTransfer::onTurn()
{
    if (m_dialogue.hasBegun() && !m_isHeadTold) {
        if (const Next next = onBegun(); next != Next::GoOn)
            return next;
    }
    // The connection goes without the server's last word, which may never come and is not needed.
    return m_isHeadTold && isWhole() ? endWith(CURLE_OK) : Next::GoOn;
}

Transfer::Next FtpTransfer::onEnded(CURLcode code)
{
    const bool cannotBeginThere = code == CURLE_FTP_COULDNT_USE_REST;
    const bool isNothingLeft = code == CURLE_BAD_DOWNLOAD_RESUME || (code == CURLE_OK && !m_isHeadTold);
    const bool isCutShort = code == CURLE_OK && announcedLength() > m_received;
    if (m_range && cannotBeginThere)
        return askForAll();
    if (m_range && isNothingLeft)
        return tellNotSatisfiable();
    return endWith(isCutShort ? CURLE_PARTIAL_FILE : code);
}

void FtpTransfer::release()
{
    Transfer::release();
    m_questions.reset();
}

bool FtpTransfer::takeHeadLine(QByteArrayView line)
{
    m_dialogue.addLine(line);
    if (m_dialogue.hasBegun())
        set(CURLOPT_SERVER_RESPONSE_TIMEOUT, kPatienceAtEndSeconds);
    return true;
}

Transfer::Taken FtpTransfer::takeBody(QByteArrayView data)
{
    m_isBodyWaiting = !m_isHeadTold;
    if (m_isBodyWaiting)
        return Taken::NothingYet;
    const qint64 length = announcedLength();
    const qint64 wanted = length < 0 ? data.size() : std::min<qint64>(data.size(), length - m_received);
    m_received += wanted;
    if (wanted > 0)
        hand(data.first(wanted));
    return Taken::All;
}

/// One range with a start, as in "bytes=5-" and "bytes=5-9"; other headers are as good as none.
std::optional<FtpTransfer::Range> FtpTransfer::rangeFrom(const QByteArray &header)
{
    static const QRegularExpression pattern(u"^\\s*bytes\\s*=\\s*(\\d+)\\s*-\\s*(\\d*)\\s*$"_s);
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(header));
    bool isFirst = false;
    bool isLast = match.captured(2).isEmpty();
    const bool isOpen = isLast;
    const Range range{match.captured(1).toLongLong(&isFirst), isOpen ? -1 : match.captured(2).toLongLong(&isLast)};
    const bool isSound = isFirst && isLast && (isOpen || range.last >= range.first);
    return isSound ? std::optional(range) : std::nullopt;
}

void FtpTransfer::prepareLogin()
{
    if (m_request.login.user.isEmpty())
        return;
    set(CURLOPT_USERNAME, m_request.login.user.toUtf8().constData());
    set(CURLOPT_PASSWORD, m_request.login.password.toUtf8().constData());
}

void FtpTransfer::prepareRange()
{
    if (m_range) {
        const QByteArray last = m_range->last < 0 ? QByteArray() : QByteArray::number(m_range->last);
        set(CURLOPT_RANGE, (QByteArray::number(m_range->first) + '-' + last).constData());
    }
    if (!m_range || m_range->first == 0) {
        // Only a server that is asked says whether it can begin in the middle; "*": it may as well not understand.
        m_questions.reset(curl_slist_append(nullptr, "*REST 0"));
        set(CURLOPT_PREQUOTE, m_questions.get());
    }
}

/// As an HTTP server does that does not know ranges.
Transfer::Next FtpTransfer::askForAll()
{
    m_range.reset();
    m_dialogue = {};
    m_received = 0;
    m_isBodyWaiting = false;
    set(CURLOPT_RANGE, static_cast<const char *>(nullptr));
    set(CURLOPT_SERVER_RESPONSE_TIMEOUT, 0L);
    return Next::AskAgain;
}

Transfer::Next FtpTransfer::onBegun()
{
    if (m_range && m_dialogue.size() < 0)
        return askForAll();
    if (isBehindEnd())
        return tellNotSatisfiable();
    tellHead();
    if (std::exchange(m_isBodyWaiting, false))
        resume();
    return Next::GoOn;
}

void FtpTransfer::tellHead()
{
    m_isHeadTold = true;
    const qint64 length = announcedLength();
    TransferPipe::Head head;
    head.status = m_range ? kPartialContent : kOk;
    head.reason = m_range ? "Partial Content" : "OK";
    addField(head, "Content-Type", kFileType);
    if (length >= 0)
        addField(head, "Content-Length", QByteArray::number(length));
    if (m_range)
        addField(head, "Content-Range",
                 "bytes " + QByteArray::number(m_range->first) + '-' + QByteArray::number(m_range->first + length - 1)
                     + '/' + QByteArray::number(m_dialogue.size()));
    if (length >= 0 && m_dialogue.takesRanges())
        addField(head, "Accept-Ranges", "bytes");
    if (const QByteArray date = lastModified(); !date.isEmpty())
        addField(head, "Last-Modified", date);
    pipe().putHead(head);
}

Transfer::Next FtpTransfer::tellNotSatisfiable()
{
    TransferPipe::Head head;
    head.status = kNotSatisfiable;
    head.reason = "Range Not Satisfiable";
    if (m_dialogue.size() >= 0)
        addField(head, "Content-Range", "bytes */" + QByteArray::number(m_dialogue.size()));
    pipe().putHead(head);
    end(QNetworkReply::UnknownContentError, u"The file ends before byte %1."_s.arg(m_range->first));
    return Next::Leave;
}

Transfer::Next FtpTransfer::endWith(CURLcode code)
{
    if (code == CURLE_OK) {
        if (!m_isHeadTold)
            tellHead();
        end(QNetworkReply::NoError, {});
        return Next::Leave;
    }
    const TransferErrors::Circumstances circumstances{0, int(get<long>(CURLINFO_PROXY_ERROR, 0)),
                                                      int(get<long>(CURLINFO_RESPONSE_CODE, 0)),
                                                      int(get<long>(CURLINFO_OS_ERRNO, 0)), !m_request.proxy.isEmpty()};
    const QNetworkReply::NetworkError error = TransferErrors::fromFtp(code, circumstances);
    end(error, textFor(error, code));
    return Next::Leave;
}

QString FtpTransfer::textFor(QNetworkReply::NetworkError error, CURLcode code) const
{
    const QUrl &proxy = m_request.proxy;
    switch (error) {
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return AuthChallenges::refusal(ProxyChoice::nameOf(proxy), {}, proxy.userName(QUrl::FullyDecoded));
    case QNetworkReply::AuthenticationRequiredError:
        return AuthChallenges::refusal(u'"' + m_request.url.host() + u'"', {}, m_request.login.user);
    default:
        break;
    }
    return TransferErrors::isProxys(error) ? wordsFor(code) + u" ("_s + ProxyChoice::nameOf(proxy) + u')'
                                           : wordsFor(code);
}

bool FtpTransfer::isBehindEnd() const
{
    return m_range && m_range->first >= m_dialogue.size();
}

/// Of this answer's body; -1 = unknown.
qint64 FtpTransfer::announcedLength() const
{
    const qint64 size = m_dialogue.size();
    if (!m_range || size < 0)
        return size;
    const qint64 end = m_range->last < 0 ? size : std::min(m_range->last + 1, size);
    return std::max<qint64>(0, end - m_range->first);
}

/// Empty where the server did not tell.
QByteArray FtpTransfer::lastModified() const
{
    const auto seconds = get<curl_off_t>(CURLINFO_FILETIME_T, -1);
    if (seconds < 0)
        return {};
    const QDateTime time = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
    return QLocale::c().toString(time, u"ddd, dd MMM yyyy hh:mm:ss 'GMT'"_s).toLatin1();
}
