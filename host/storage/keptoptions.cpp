// SPDX-License-Identifier: MIT
#include <host/storage/keptoptions.h>

#include <host/options/optionvalues.h>

#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

QStringList KeptOptions::withColumns()
{
    return {u"limit-rate"_s, u"max-connections"_s, u"max-connections-per-server"_s,
            u"checksum"_s,   u"on-changed"_s,      u"on-unresumable"_s,
            u"on-exists"_s,  u"insecure"_s};
}

QString KeptOptions::toText(const DownloadOptions &options, const QStringList &others)
{
    QJsonObject values = options.values().toJson();
    for (const QString &name : others) {
        if (name != "limit-rate"_L1 || options.rateTimes.isEmpty())
            values.remove(name);
    }
    return values.isEmpty() ? QString() : QString::fromUtf8(QJsonDocument(values).toJson(QJsonDocument::Compact));
}

void KeptOptions::give(const QString &text, DownloadOptions &options)
{
    if (!text.isEmpty())
        options.give(OptionValues::fromJson(QJsonDocument::fromJson(text.toUtf8()).object()));
}
