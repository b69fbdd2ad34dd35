// SPDX-License-Identifier: MIT
#include <tests/support/hostileanswer.h>
#include <tests/support/hostileworld.h>
#include <tests/support/testfiles.h>

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
constexpr quint32 kSeeds = 500;

/// Serves one version without redirects and soundly.
HostileResource resource()
{
    HostileVersion version;
    version.content = 5;
    version.size = 1000;
    version.etag = "\"v0\"";
    version.etagName = "etag";
    HostileResource resource;
    resource.name = "r0.bin";
    resource.versions = {version};
    return resource;
}

HostileAnswer answerTo(const QByteArray &range, HostileFault fault)
{
    static const HostileResource served = resource();
    ScriptedRequest request;
    request.target = "/r0/a0/g/r0.bin";
    if (!range.isEmpty())
        request.headers.append({"Range", range});
    QRandomGenerator chance(1);
    const HostileVersion &version = served.versions.constFirst();
    return HostileAnswerMaker(served, version, version, chance).answer(request, fault);
}

QByteArray bodyOf(const HostileAnswer &answer)
{
    return answer.paced.bytes.mid(answer.paced.bytes.indexOf("\r\n\r\n") + 4);
}
}

class TestHostileWorld : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aSeedHasOneWorld();
    void everyFaultIsSomewhere();
    void aSoundRangeIsReadAsItWasSent();
    void aCutAnswerIsReadUpToItsCut();
    void aChunkOfNonsenseIsReadUpToThere();
    void aPieceOfAnotherPlaceThatSaysSoIsNotTaken();
    void aPieceOfAnotherPlaceThatSaysNothingIsTaken();
};

void TestHostileWorld::aSeedHasOneWorld()
{
    QCOMPARE(HostileWorld::fromSeed(7).inWords(), HostileWorld::fromSeed(7).inWords());
    QVERIFY(HostileWorld::fromSeed(7).inWords() != HostileWorld::fromSeed(8).inWords());
}

void TestHostileWorld::everyFaultIsSomewhere()
{
    QSet<HostileFault> faults;
    for (quint32 seed = 1; seed <= kSeeds; ++seed) {
        const HostileWorld world = HostileWorld::fromSeed(seed);
        for (const HostileResource &resource : world.resources)
            faults += QSet<HostileFault>(resource.faults.cbegin(), resource.faults.cend());
    }
    QCOMPARE(faults.size(), kHostileFaults - 1);
}

void TestHostileWorld::aSoundRangeIsReadAsItWasSent()
{
    const HostileAnswer answer = answerTo("bytes=300-", HostileFault::None);
    QVERIFY(answer.paced.bytes.startsWith("HTTP/1.1 206 "));
    QVERIFY(answer.paced.bytes.contains("\r\netag: \"v0\"\r\n"));
    QVERIFY(answer.paced.bytes.contains("\r\nContent-Range: bytes 300-999/1000\r\n"));
    QCOMPARE(bodyOf(answer), TestFiles::content(5, 300, 700));
    QVERIFY(answer.reading.isUsable);
    QVERIFY(answer.reading.isWhole);
    QCOMPARE(answer.reading.from, 300);
    QCOMPARE(answer.reading.size(), 700);
    QCOMPARE(answer.reading.total, 1000);
}

void TestHostileWorld::aCutAnswerIsReadUpToItsCut()
{
    const HostileAnswer answer = answerTo({}, HostileFault::Cut);
    QVERIFY(answer.reading.size() < 1000);
    QCOMPARE(answer.reading.size(), bodyOf(answer).size());
    QVERIFY(!answer.reading.isWhole);
    QCOMPARE(answer.reading.total, 1000);
}

void TestHostileWorld::aChunkOfNonsenseIsReadUpToThere()
{
    const HostileAnswer answer = answerTo("bytes=300-", HostileFault::ChunkOfNonsense);
    const QByteArray body = bodyOf(answer);
    QVERIFY(body.indexOf("rubbish\r\n") >= answer.reading.size());
    QVERIFY(!answer.reading.isWhole);
    QVERIFY(answer.reading.isUsable);
}

void TestHostileWorld::aPieceOfAnotherPlaceThatSaysSoIsNotTaken()
{
    QVERIFY(!answerTo("bytes=300-", HostileFault::OtherPlace).reading.isUsable);
}

void TestHostileWorld::aPieceOfAnotherPlaceThatSaysNothingIsTaken()
{
    const HostileAnswer answer = answerTo("bytes=300-", HostileFault::HeadInPlaceOfRange);
    QVERIFY(answer.reading.isUsable);
    QCOMPARE(answer.reading.from, 300);
    QCOMPARE(bodyOf(answer), TestFiles::content(5, 0, 700));
}

QTEST_GUILESS_MAIN(TestHostileWorld)
#include "tst_hostileworld.moc"
