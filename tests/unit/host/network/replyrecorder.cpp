// SPDX-License-Identifier: MIT
#include <tests/unit/host/network/replyrecorder.h>

#include <QSslError>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kPatienceMs = 30000;

}

ReplyRecorder::ReplyRecorder(QNetworkReply *reply, Reads reads)
{
    connect(reply, &QNetworkReply::encrypted, this, [this] { note(u"encrypted"_s); });
    connect(reply, &QNetworkReply::sslErrors, this, [this] { note(u"refused certificate"_s); });
    connect(reply, &QNetworkReply::metaDataChanged, this, [this] { note(u"head"_s); });
    connect(reply, &QNetworkReply::readyRead, this, [this, reply, reads] {
        ++m_dataCount;
        if (events.isEmpty() || events.last() != "data"_L1)
            note(u"data"_s);
        if (reads == Reads::All)
            body += reply->readAll();
    });
    connect(reply, &QNetworkReply::errorOccurred, this,
            [this](QNetworkReply::NetworkError code) { note(u"error %1"_s.arg(code)); });
    connect(reply, &QNetworkReply::readChannelFinished, this, [this] { note(u"channel"_s); });
    connect(reply, &QNetworkReply::finished, this, [this] { note(u"finished"_s); });
}

ReplyRecorder::~ReplyRecorder() = default;

bool ReplyRecorder::wait() const
{
    return QTest::qWaitFor([this] { return hasEnded(); }, kPatienceMs);
}

bool ReplyRecorder::hasEnded() const
{
    return events.contains(u"finished"_s);
}

QStringList ReplyRecorder::wholeAnswer()
{
    return {u"head"_s, u"data"_s, u"channel"_s, u"finished"_s};
}

QStringList ReplyRecorder::failureWith(QNetworkReply::NetworkError code)
{
    return {u"error %1"_s.arg(code), u"channel"_s, u"finished"_s};
}
