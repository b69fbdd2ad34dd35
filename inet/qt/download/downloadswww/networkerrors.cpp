// SPDX-License-Identifier: MIT
#include <inet/qt/download/downloadswww/networkerrors.h>

#include <QNetworkReply>
#include <QNetworkRequest>
#include <QVariant>

namespace
{

/// A device that was never given a text answers with a stand-in, which tells people less than a status does.
bool saysNothing(const QString &text)
{
    return text.isEmpty() || text == QIODevice::tr("Unknown error");
}

QString describe(const QNetworkReply &reply)
{
    const QString text = reply.errorString();
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!saysNothing(text) || !status.isValid())
        return text;
    return QObject::tr("HTTP Error %1").arg(status.toInt());
}

}

AbstractError errorFrom(QNetworkReply *reply, const std::string &location)
{
    if (reply->error() == QNetworkReply::NoError)
        return {};
    return {int(reply->error()), ErrorCategory::kNetwork, location, describe(*reply).toStdString()};
}
