// SPDX-License-Identifier: MIT
#include <inet/qt/download/framework/abstractdownload.h>

using namespace Qt::StringLiterals;

AbstractDownload::AbstractDownload(qint64 id, QObject *parent)
    : AbstractNetworkConsumerWithExtraTasks(parent)
    , m_id(id)
{
}

AbstractDownload::~AbstractDownload() = default;

qint64 AbstractDownload::id() const
{
    return m_id;
}

void AbstractDownload::doCustomCommand(const QVariant &, const QVariant &) {}

QObject *AbstractDownload::resourceVersionSelector()
{
    return nullptr;
}

void AbstractDownload::setupBySourceDownload(QSharedPointer<AbstractDownload>) {}

bool AbstractDownload::isChildDownloadsManagerRequired() const
{
    return false;
}

void AbstractDownload::setChildDownloadsManager(const QSharedPointer<AbstractChildDownloadsManager> &) {}

QVariant AbstractDownload::previews() const
{
    return {};
}

QObject *AbstractDownload::newDownloadsSource() const
{
    return nullptr;
}

bool AbstractDownload::setOption(quint64, const QVariant &)
{
    return false;
}

QVariant AbstractDownload::option(quint64)
{
    return {};
}

QString AbstractDownload::errorReportData() const
{
    const AbstractError error = lastError();
    return error ? error.toLogText() : QString();
}

bool AbstractDownload::interactive() const
{
    return m_interactive;
}

void AbstractDownload::setInteractive(bool interactive)
{
    m_interactive = interactive;
}

void AbstractDownload::setInitData(const QVariant &) {}

QVariant AbstractDownload::details() const
{
    return {};
}

AbstractDownloadPersistentInfo *AbstractDownload::rwInfo()
{
    return nullptr;
}

QString AbstractDownload::logHeader() const
{
    return "[Download #"_L1 + QString::number(m_id) + "] "_L1;
}
