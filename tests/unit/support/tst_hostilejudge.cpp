// SPDX-License-Identifier: MIT
#include <tests/support/hostilejudge.h>
#include <tests/support/testfiles.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
using Verdict = HostileJudge::Verdict;

constexpr qint64 kSize = 4000;
constexpr qint64 kHalf = 2000;
constexpr quint64 kOld = 1;
constexpr quint64 kNew = 2;

HostileResource resource()
{
    HostileResource resource;
    HostileVersion version;
    version.size = kSize;
    version.content = kOld;
    resource.versions.append(version);
    version.content = kNew;
    resource.versions.append(version);
    return resource;
}

/// An answer that has these bytes and says nothing of the file but its size.
HostileReading reading(quint64 content, qint64 from, qint64 to)
{
    HostileReading reading;
    reading.isUsable = true;
    reading.from = from;
    reading.pieces = {{content, from, to - from}};
    reading.isWhole = true;
    reading.total = kSize;
    return reading;
}

HostileReading tagged(HostileReading reading, const QByteArray &etag, qint64 modified = 0)
{
    reading.etag = etag;
    reading.modified = modified;
    return reading;
}

HostileReading at(int address, HostileReading reading)
{
    reading.address = address;
    return reading;
}

HostileReading ofSize(qint64 total, HostileReading reading)
{
    reading.total = total;
    return reading;
}

HostileReading cut(HostileReading reading)
{
    reading.isWhole = false;
    return reading;
}

HostileReading refused(HostileReading reading)
{
    reading.isUsable = false;
    return reading;
}

HostileReading proof(HostileReading reading)
{
    reading.isProof = true;
    return reading;
}

QByteArray mixed()
{
    return TestFiles::content(kOld, 0, kHalf) + TestFiles::content(kNew, kHalf, kSize - kHalf);
}
}

Q_DECLARE_METATYPE(HostileJudge::Verdict)

class TestHostileJudge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aVersionIsRightWhateverWasAnswered();
    void aMixtureIsExcusableWhereNothingTellsItsPartsApart_data();
    void aMixtureIsExcusableWhereNothingTellsItsPartsApart();
    void aShortFileIsExcusableWhereItsEndWasToldThere();
    void aShortFileIsWrongWhereItsSizeWasTold();
    void anAlienFileIsExcusableWhereItWasServed();
    void anotherAnswerWithASignExcusesNothing();
    void oneAnswerWhoseEndWasToldProvesItsFile();
    void rangesUnderOneStrongTagProveTheirFile();
    void rangesUnderAWeakTagProveNothing();
    void oneTagInAllAnswersLeavesNoDoubt();
    void bytesWereSentForTheirPlaceOnly();
};

void TestHostileJudge::aVersionIsRightWhateverWasAnswered()
{
    QCOMPARE(HostileJudge(resource(), {}).judge(TestFiles::content(kNew, 0, kSize)), Verdict::Right);
}

void TestHostileJudge::aMixtureIsExcusableWhereNothingTellsItsPartsApart_data()
{
    QTest::addColumn<HostileReading>("first");
    QTest::addColumn<HostileReading>("second");
    QTest::addColumn<Verdict>("verdict");
    const HostileReading first = cut(reading(kOld, 0, 3000));
    const HostileReading second = reading(kNew, kHalf, kSize);
    const auto add = [](const char *name, const HostileReading &one, const HostileReading &two, Verdict verdict) {
        QTest::newRow(name) << one << two << verdict;
    };
    add("nothing but one size", first, second, Verdict::Excusable);
    add("two sizes", first, ofSize(kSize + 1, second), Verdict::Wrong);
    add("one size and none", first, ofSize(-1, second), Verdict::Excusable);
    add("one strong tag", tagged(first, "\"a\""), tagged(second, "\"a\""), Verdict::Excusable);
    add("two strong tags", tagged(first, "\"a\""), tagged(second, "\"b\""), Verdict::Wrong);
    add("two weak tags", tagged(first, "W/\"a\""), tagged(second, "W/\"b\""), Verdict::Wrong);
    add("a weak tag and the same, strong", tagged(first, "W/\"a\""), tagged(second, "\"a\""), Verdict::Excusable);
    add("a weak tag and another, strong", tagged(first, "W/\"a\""), tagged(second, "\"b\""), Verdict::Wrong);
    add("a tag that vanishes", tagged(first, "\"a\""), second, Verdict::Excusable);
    add("two dates", tagged(first, {}, 1000), tagged(second, {}, 2000), Verdict::Wrong);
    add("two dates under one strong tag", tagged(first, "\"a\"", 1000), tagged(second, "\"a\"", 2000),
        Verdict::Excusable);
    add("two dates under one weak tag", tagged(first, "W/\"a\"", 1000), tagged(second, "W/\"a\"", 2000),
        Verdict::Wrong);
    add("a date that vanishes", tagged(first, {}, 1000), second, Verdict::Excusable);
    add("two tags of two addresses", tagged(first, "\"a\""), at(1, tagged(second, "\"b\"")), Verdict::Excusable);
    add("two dates of two addresses", tagged(first, {}, 1000), at(1, tagged(second, {}, 2000)), Verdict::Wrong);
    add("a gap", cut(reading(kOld, 0, kHalf - 1)), second, Verdict::Wrong);
    add("an answer that cannot be read", first, refused(second), Verdict::Wrong);
}

void TestHostileJudge::aMixtureIsExcusableWhereNothingTellsItsPartsApart()
{
    QFETCH(HostileReading, first);
    QFETCH(HostileReading, second);
    QFETCH(Verdict, verdict);
    QCOMPARE(HostileJudge(resource(), {first, second}).judge(mixed()), verdict);
}

void TestHostileJudge::aShortFileIsExcusableWhereItsEndWasToldThere()
{
    HostileJudge judge(resource(), {ofSize(-1, reading(kOld, 0, kHalf))});
    QCOMPARE(judge.judge(TestFiles::content(kOld, 0, kHalf)), Verdict::Excusable);
    QCOMPARE(judge.judge(TestFiles::content(kOld, 0, kHalf - 1)), Verdict::Wrong);
}

void TestHostileJudge::aShortFileIsWrongWhereItsSizeWasTold()
{
    HostileJudge judge(resource(), {cut(reading(kOld, 0, kHalf))});
    QCOMPARE(judge.judge(TestFiles::content(kOld, 0, kHalf)), Verdict::Wrong);
}

void TestHostileJudge::anAlienFileIsExcusableWhereItWasServed()
{
    const quint64 page = 7;
    HostileJudge judge(resource(), {ofSize(100, reading(page, 0, 100))});
    QCOMPARE(judge.judge(TestFiles::content(page, 0, 100)), Verdict::Excusable);
    QCOMPARE(judge.judge(TestFiles::content(page + 1, 0, 100)), Verdict::Wrong);
}

void TestHostileJudge::anotherAnswerWithASignExcusesNothing()
{
    const HostileReading untold = reading(kNew, kHalf, kSize - 1);
    const HostileReading last = tagged(reading(kNew, kSize - 1, kSize), "\"b\"");
    HostileJudge judge(resource(), {tagged(reading(kOld, 0, kHalf), "\"a\""), untold, last});
    QCOMPARE(judge.judge(mixed()), Verdict::Wrong);
}

void TestHostileJudge::oneAnswerWhoseEndWasToldProvesItsFile()
{
    const QByteArray file = TestFiles::content(kOld, 0, kSize);
    QVERIFY(HostileJudge(resource(), {proof(reading(kOld, 0, kSize))}).isProven(file));
    QVERIFY(!HostileJudge(resource(), {ofSize(-1, reading(kOld, 0, kSize))}).isProven(file));
}

void TestHostileJudge::rangesUnderOneStrongTagProveTheirFile()
{
    const QByteArray file = TestFiles::content(kOld, 0, kSize);
    const HostileReading first = cut(reading(kOld, 0, kHalf));
    const HostileReading second = reading(kOld, kHalf, kSize);
    QVERIFY(HostileJudge(resource(), {tagged(first, "\"a\""), tagged(second, "\"a\"")}).isProven(file));
    QVERIFY(!HostileJudge(resource(), {tagged(first, "\"a\""), second}).isProven(file));
}

void TestHostileJudge::rangesUnderAWeakTagProveNothing()
{
    const HostileReading first = tagged(cut(reading(kOld, 0, kHalf)), "W/\"a\"");
    const HostileReading second = tagged(reading(kOld, kHalf, kSize), "W/\"a\"");
    QVERIFY(!HostileJudge(resource(), {first, second}).isProven(TestFiles::content(kOld, 0, kSize)));
}

void TestHostileJudge::oneTagInAllAnswersLeavesNoDoubt()
{
    const HostileReading first = tagged(cut(reading(kOld, 0, kHalf)), "\"a\"");
    const HostileReading second = tagged(reading(kOld, kHalf, kSize), "\"a\"");
    QVERIFY(HostileJudge(resource(), {first, second}).isBeyondDoubt());
    QVERIFY(!HostileJudge(resource(), {first, second, reading(kOld, kHalf, kSize)}).isBeyondDoubt());
    QVERIFY(!HostileJudge(resource(), {first, ofSize(-1, second)}).isBeyondDoubt());
}

void TestHostileJudge::bytesWereSentForTheirPlaceOnly()
{
    HostileJudge judge(resource(), {reading(kOld, 0, 1000), reading(kNew, 1000, kSize)});
    QVERIFY(judge.wereSent(TestFiles::content(kOld, 500, 500) + TestFiles::content(kNew, 1000, 500), 500));
    QVERIFY(judge.wereSent(TestFiles::content(kNew, 3000, 1000), 3000));
    QVERIFY(!judge.wereSent(TestFiles::content(kNew, 500, 1000), 500));
    QVERIFY(!judge.wereSent(TestFiles::content(kOld, 0, 1001), 0));
}

QTEST_GUILESS_MAIN(TestHostileJudge)
#include "tst_hostilejudge.moc"
