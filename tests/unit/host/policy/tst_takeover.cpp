// SPDX-License-Identifier: MIT
#include <cli/clausewords.h>
#include <host/policy/takeover.h>

#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;

namespace
{

using TakeOver::Answer;
using TakeOver::Local;
using TakeOver::Piece;

constexpr qint64 kSize = 1000;
const QDateTime kWritten = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);

Answer partOf(qint64 total)
{
    Answer answer;
    answer.piece = {0, 10};
    answer.status = 206;
    answer.identity.total = total;
    answer.bytes = answer.ours = "0123456789";
    return answer;
}

}

class TestTakeOver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void piecesLieAtBothEndsAndBetween_data();
    void piecesLieAtBothEndsAndBetween();
    void refusal_data();
    void refusal();
    void aServerThatChangesMeanwhileIsNoticed();
    void aChecksumStandsForPartsThatAreNotSent();
};

void TestTakeOver::piecesLieAtBothEndsAndBetween_data()
{
    QTest::addColumn<qint64>("size");
    for (const qint64 size : {qint64(1), qint64(100), TakeOver::kPiece, TakeOver::kPiece + 1, 2 * TakeOver::kPiece,
                              3 * TakeOver::kPiece + 7, 4 * TakeOver::kPiece, qint64(10000000000)})
        QTest::addRow("%lld", static_cast<long long>(size)) << size;
}

void TestTakeOver::piecesLieAtBothEndsAndBetween()
{
    QFETCH(qint64, size);
    const QList<Piece> pieces = TakeOver::piecesOf(size);
    QCOMPARE(pieces.first().offset, 0);
    QCOMPARE(pieces.last().offset + pieces.last().size, size);
    QVERIFY(pieces.size() <= 4 && (pieces.size() == 4 || size < 4 * TakeOver::kPiece));
    qint64 end = 0;
    for (const Piece &piece : pieces) {
        QVERIFY(piece.offset >= end && piece.size > 0 && piece.size <= TakeOver::kPiece);
        end = piece.offset + piece.size;
    }
}

void TestTakeOver::refusal_data()
{
    QTest::addColumn<Local>("local");
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<QString>("part");
    const auto row = [](const char *name, qint64 size, const QString &part,
                        const std::function<void(Local &, Answer &)> &change) {
        Local local{size, kWritten, false};
        Answer answer = partOf(kSize);
        change(local, answer);
        QTest::newRow(name) << local << answer << part;
    };
    const auto nothing = [](Local &, Answer &) {};
    row("the beginning", 500, {}, nothing);
    row("all of it", kSize, {}, nothing);
    row("more than there is", kSize + 1, u"it has 1001 bytes, and the server's file 1000"_s, nothing);
    row("a server that does not say how much there is", 500, u"does not say how long"_s,
        [](Local &, Answer &answer) { answer.identity.total = -1; });
    row("other bytes", 500, u"from byte 0 on"_s, [](Local &, Answer &answer) { answer.bytes[9] = 'x'; });
    row("fewer bytes than were asked for", 500, u"from byte 0 on"_s,
        [](Local &, Answer &answer) { answer.bytes.chop(1); });
    row("a change since", 500, u"changed at 2023-11-14 22:13:21 UTC"_s,
        [](Local &, Answer &answer) { answer.identity.lastModified = kWritten.addSecs(1); });
    row("a change before", 500, {},
        [](Local &, Answer &answer) { answer.identity.lastModified = kWritten.addMSecs(900); });
    row("a compressed answer", 500, u"compressed"_s, [](Local &, Answer &answer) { answer.encoding = "gzip"; });
    row("no parts, and a rest", 500, u"does not send the rest"_s, [](Local &, Answer &answer) { answer.status = 200; });
    row("no parts, and no rest", kSize, u"sends no parts"_s, [](Local &, Answer &answer) { answer.status = 200; });
    row("no parts, no rest, and a checksum", kSize, {}, [](Local &local, Answer &answer) {
        answer.status = 200;
        local.hasChecksum = true;
    });
    row("no parts, a rest, and a checksum", 500, u"does not send the rest"_s, [](Local &local, Answer &answer) {
        answer.status = 200;
        local.hasChecksum = true;
    });
}

void TestTakeOver::refusal()
{
    QFETCH(Local, local);
    QFETCH(Answer, answer);
    QFETCH(QString, part);
    const QString reason = ClauseWords::of(TakeOver::refusal(local, answer, answer));
    QVERIFY2(part.isEmpty() ? reason.isEmpty() : reason.contains(part), qPrintable(reason));
}

void TestTakeOver::aServerThatChangesMeanwhileIsNoticed()
{
    Answer first = partOf(kSize);
    first.identity.etag = "\"a\"";
    Answer second = first;
    second.identity.etag = "\"b\"";
    QCOMPARE(TakeOver::refusal({500, kWritten, false}, first, second).kind, Clause::Kind::ChangedJustNow);
}

void TestTakeOver::aChecksumStandsForPartsThatAreNotSent()
{
    Answer answer = partOf(kSize);
    QVERIFY(!TakeOver::isSettled({kSize, kWritten, true}, answer));
    answer.status = 200;
    QVERIFY(TakeOver::isSettled({kSize, kWritten, true}, answer));
    QVERIFY(!TakeOver::isSettled({kSize, kWritten, false}, answer));
}

QTEST_GUILESS_MAIN(TestTakeOver)
#include "tst_takeover.moc"
