// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/wwwdownloadsection.h>

#include <inet/qt/download/framework/runguard.h>
#include <inet/qt/download/response/abstractfiletypedetector.h>
#include <inet/qt/download/response/httpheadersparser.h>

#include <QCryptographicHash>
#include <QRegularExpression>

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

// Reports are grouped by these places, so they stay what they were when the code around them moves.
constexpr char kSourceFile[] = "inet/qt/download/downloadswww/wwwdownloadsection.cpp";
constexpr unsigned kWholeInsteadOfRangeLine = 620;
constexpr unsigned kUnexpectedStatusLine = 626;
constexpr unsigned kResourceChangedLine = 745;

constexpr int kStatusOk = 200;
constexpr int kStatusPartialContent = 206;
constexpr int kNoStatus = -1;

AbstractError errorAt(int code, const char *category, unsigned line)
{
    return {code, category, errorSource(kSourceFile, line), {}};
}

/// What follows the last "."; nothing where that is the name's first character or there is none.
QString extensionOf(const QString &name)
{
    const qsizetype dot = name.lastIndexOf('.'_L1);
    return dot > 0 ? name.mid(dot + 1) : QString();
}

QString withoutIllegalCharacters(QString name)
{
    static const QRegularExpression illegal(uR"(([\/\?<>\\:\*\|"\n]+))"_s);
    return name.remove(illegal);
}

bool isSameSource(const AbstractDownloadSourceInfo &a, const AbstractDownloadSourceInfo &b)
{
    return a.url == b.url && a.referer == b.referer && a.cookies == b.cookies && a.postData == b.postData
        && a.webPageUrl == b.webPageUrl;
}

}

void WwwDownloadSection::onDownloaderGotHeaders()
{
    m_gotResponse = true;
    const WwwDownloader *const downloader = m_downloader.get();
    if (!downloader)
        return;
    const QUrl finalUrl = m_info->finalUrl;
    bool changed = updateRedirectedSource();
    const bool isFinalUrlNew = m_info->finalUrl != finalUrl;

    const int status = downloader->httpStatusCode();
    const StatusVerdict verdict = judgeStatus(status, m_section.position());
    if (verdict != StatusVerdict::Accepted) {
        refuseStatus(verdict, status, isFinalUrlNew);
        return;
    }

    const HttpHeadersParser parser(downloader->headers());
    if (status != kNoStatus && m_section.position() > 0)
        changed |= learnResumeSupport(AbstractDownloadPersistentInfo::ResumeSupported);
    if (parser.acceptRanges() == HttpHeadersParser::kRangesUnknown)
        changed |= learnResumeSupport(AbstractDownloadPersistentInfo::ResumeNotSupported);
    const AbstractDownloadGuid guid = getDownloadGuid(m_info, parser);
    if (isFileInfoToBeBuilt()) {
        m_info->guid = guid;
        buildFileInfo(parser, changed);
        changed = true;
    } else {
        changed |= learnSizeOfKnownFile(status, parser.resourceSize());
        if (isKnownResourceChanged(guid, parser)) {
            refuse(errorAt(int(DownloadErrorCode::ResourceChanged), ErrorCategory::kDownload, kResourceChangedLine),
                   isFinalUrlNew);
            return;
        }
    }
    tellOkResponse(changed);
}

bool WwwDownloadSection::learnResumeSupport(qint32 support)
{
    return std::exchange(m_info->resumeSupport, support) != support;
}

void WwwDownloadSection::tellOkResponse(bool isRecordChanged)
{
    const RunGuard guard(this, m_runsEnded);
    const WwwDownloader *const downloader = m_downloader.get();
    if (isRecordChanged)
        Q_EMIT persistentInfoChanged();
    // A stop may last, but takes the transfer away at once.
    if (!guard || m_downloader.get() != downloader)
        return;
    Q_EMIT gotOkResponse();
    if (guard && m_downloader.get() == downloader)
        proceed();
}

void WwwDownloadSection::proceed()
{
    if (m_query)
        keepQueryTransfer();
    else if (m_transferOrigin == TransferOrigin::Renewed)
        m_transferOrigin = TransferOrigin::Own;
    else
        proceedToWriting();
}

WwwDownloadSection::StatusVerdict WwwDownloadSection::judgeStatus(int status, qint64 position)
{
    const int expected = position == 0 ? kStatusOk : kStatusPartialContent;
    if (status == kNoStatus || status == expected)
        return StatusVerdict::Accepted;
    const bool wholeInsteadOfRange = expected == kStatusPartialContent && status == kStatusOk;
    return wholeInsteadOfRange ? StatusVerdict::WholeInsteadOfRange : StatusVerdict::Unexpected;
}

void WwwDownloadSection::refuseStatus(StatusVerdict verdict, int status, bool isRecordChanged)
{
    if (verdict == StatusVerdict::Unexpected) {
        refuse(errorAt(status, ErrorCategory::kHttp, kUnexpectedStatusLine), isRecordChanged);
        return;
    }
    m_info->resumeSupport = AbstractDownloadPersistentInfo::ResumeNotSupported;
    refuse(errorAt(int(DownloadErrorCode::ResumeNotSupported), ErrorCategory::kDownload, kWholeInsteadOfRangeLine),
           true);
}

void WwwDownloadSection::refuse(const AbstractError &error, bool isRecordChanged)
{
    const RunGuard guard(this, m_runsEnded);
    if (isRecordChanged)
        Q_EMIT persistentInfoChanged();
    if (guard)
        stop(error, false);
}

bool WwwDownloadSection::isFileInfoToBeBuilt() const
{
    return m_info->files.isEmpty() || m_info->files.first().sections.isEmpty() || m_resourceCheck;
}

void WwwDownloadSection::buildFileInfo(const HttpHeadersParser &parser, bool changed)
{
    if (m_info->files.isEmpty()) {
        m_info->files.append(newFileInfo(parser));
        changed = true;
    } else {
        changed = false;
    }

    AbstractDownloadFileInfo &file = m_info->files.first();
    file.size = parser.resourceSize();
    file.lastModified = parser.lastModifiedDate();
    if (parser.hasContentTypeHeader())
        file.contentType = parser.contentTypeHeader();
    m_section.size = file.size;
    if (file.size == -1)
        takeStreamName(parser, changed);
    m_resourceCheck = false;
}

AbstractDownloadFileInfo WwwDownloadSection::newFileInfo(const HttpHeadersParser &parser) const
{
    AbstractDownloadFileInfo file;
    file.name = parser.fileName(m_info->finalSource());
    if (!m_info->presetFileName.isEmpty()) {
        const bool hasExtension = file.name.lastIndexOf('.'_L1) > 0;
        file.name = hasExtension ? m_info->presetFileName + '.'_L1 + extensionOf(file.name) : m_info->presetFileName;
    }
    file.type = AbstractFileTypeDetector().typeFromFileName(file.name);
    return file;
}

// Radio and the like: the stream's own title is a better name than the last segment of its URL.
void WwwDownloadSection::takeStreamName(const HttpHeadersParser &parser, bool changed)
{
    const QByteArray bitrate = parser.headerValueByName("icy-br"_ba);
    const QString title = QString::fromUtf8(parser.headerValueByName("icy-name"_ba));
    const bool isStream = bitrate.isEmpty() ? changed : bitrate.toInt() != 0;
    if (!isStream || title.isEmpty() || m_info->hasFlag(AbstractDownloadPersistentInfo::RenameBlocked))
        return;
    QString &name = m_info->files.first().name;
    name = withoutIllegalCharacters(title) + '.'_L1 + extensionOf(name);
}

bool WwwDownloadSection::learnSizeOfKnownFile(int status, qint64 size)
{
    AbstractDownloadFileInfo &file = m_info->files.first();
    if (file.size != -1 || status != kStatusPartialContent || size == -1)
        return false;
    file.size = size;
    if (file.sections.size() == 1) {
        file.sections.first().size = size;
        m_section.size = size;
    }
    return true;
}

bool WwwDownloadSection::isKnownResourceChanged(const AbstractDownloadGuid &guid, const HttpHeadersParser &parser) const
{
    if (guid.isSet != 0 && !m_info->guid.isEmpty()) {
        bool same = false;
        bool changed = false;
        compareDownloadsByHttpEtag(guid, m_info->guid, same, changed);
        if (changed)
            return true;
    }
    return isResourceChanged(m_info->files.first(), parser);
}

void WwwDownloadSection::keepQueryTransfer()
{
    const RunGuard guard(this, m_runsEnded);
    m_queryDownloader = detachDownloader();
    if (m_minimal) {
        const DeferredPointer<WwwDownloader> downloader = std::move(m_queryDownloader);
        downloader->stop();
    } else {
        m_queryKeptTimer.start();
    }
    if (guard)
        transition(State::Idle);
}

bool WwwDownloadSection::isResourceChanged(const AbstractDownloadFileInfo &file, const HttpHeadersParser &parser)
{
    const qint64 size = parser.resourceSize();
    if (file.size != size && (size != -1 || file.size != file.bytesDownloaded()))
        return true;
    const QDateTime lastModified = parser.lastModifiedDate();
    return file.lastModified.isValid() && lastModified.isValid() && file.lastModified != lastModified;
}

AbstractDownloadGuid WwwDownloadSection::getDownloadGuid(const QSharedPointer<AbstractDownloadPersistentInfo> &info,
                                                         const HttpHeadersParser &parser)
{
    const QString etag = parser.etag();
    if (etag.isEmpty() || etag.startsWith("W/"_L1))
        return {};
    const QByteArray url = info->finalSource().toEncoded(QUrl::FullyEncoded);
    const QByteArray hash = QCryptographicHash::hash(url, QCryptographicHash::Md5).toHex();
    return {1, AbstractDownloadGuid::UrlHashAndEtag, QString::fromLatin1(hash) + ':'_L1 + etag};
}

void WwwDownloadSection::compareDownloadsByHttpEtag(const AbstractDownloadGuid &a, const AbstractDownloadGuid &b,
                                                    bool &same, bool &changed)
{
    same = false;
    changed = false;
    const auto isComparable = [](const AbstractDownloadGuid &guid) {
        return !guid.isEmpty() && guid.kind == AbstractDownloadGuid::UrlHashAndEtag;
    };
    if (!isComparable(a) || !isComparable(b))
        return;
    const QString hashA = a.value.section(':'_L1, 0, 0);
    const QString hashB = b.value.section(':'_L1, 0, 0);
    if (hashA.compare(hashB, Qt::CaseInsensitive) != 0)
        return;
    same = a.value.section(':'_L1, 1) == b.value.section(':'_L1, 1);
    changed = !same;
}

bool WwwDownloadSection::updateRedirectedSource()
{
    const WwwDownloadSourceInfo &redirected = m_downloader->redirectedSource();
    const bool wasAnswered = m_gotResponse || redirected.url != m_downloader->source().url;
    bool changed = wasAnswered && updateFinalUrl(redirected.url);
    if (!isSameSource(redirected, m_currentSource)) {
        m_currentSource = redirected;
        changed = true;
    }
    return changed;
}

bool WwwDownloadSection::updateFinalUrl(const QUrl &answered)
{
    const QUrl finalUrl = answered == m_info->url ? QUrl() : answered;
    if (m_info->finalUrl == finalUrl)
        return false;
    m_info->finalUrl = finalUrl;
    return true;
}
