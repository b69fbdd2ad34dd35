// SPDX-License-Identifier: MIT
#include <host/engine/filetakeover.h>
#include <host/network/networkaccesschief.h>
#include <host/policy/takeover.h>
#include <tests/support/scriptedserver.h>
#include <tests/support/testfiles.h>

#include <QDateTime>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 65;
constexpr qint64 kTotal = 1'000'000;
constexpr qint64 kThere = 600'000;
constexpr int kPieces = 4;
constexpr int kForbidden = 403;

QByteArray served(qint64 size)
{
    return TestFiles::content(kSeed, 0, size);
}

}

/// A file of another program: taken over where the server has the same, left as it is where anything speaks against it.
class TestFileTakeOver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void whatTheServerHasTooIsTaken_data();
    void whatTheServerHasTooIsTaken();
    void ofALongFileOnlyPlacesAreAskedFor();
    void whatDiffersAnywhereThatIsLookedAtIsRefused_data();
    void whatDiffersAnywhereThatIsLookedAtIsRefused();
    void whatCanBeSeenWithoutTheServerIsNotAsked_data();
    void whatCanBeSeenWithoutTheServerIsNotAsked();
    void whereTheServerRefusesItIsTheServersFailure();
    void whereItsAddressLedIsTold();
    void whatWasWrittenToMeanwhileIsSeen();

private:
    struct Told {
        Failure failure;
        TakenFile file;
    };

    void put(const QByteArray &bytes) const;
    Told lookedAt(const QString &path = u"/file"_s);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedServer> m_server;
    QString m_path;
};

void TestFileTakeOver::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    m_path = m_dir->filePath(u"file.bin"_s);
    m_server = std::make_unique<ScriptedServer>();
    m_server->setResponse("/file", ScriptedResponse::file(kSeed, kTotal));
}

/// Younger than what any server of a test has.
void TestFileTakeOver::put(const QByteArray &bytes) const
{
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
    QVERIFY(file.setFileTime(QDateTime::currentDateTimeUtc(), QFileDevice::FileModificationTime));
}

TestFileTakeOver::Told TestFileTakeOver::lookedAt(const QString &path)
{
    NetworkAccessChief chief;
    FileTakeOver::Asked asked;
    asked.path = m_path;
    asked.url = m_server->url(path);
    FileTakeOver work(chief.takeManager(asked.url), asked);
    QList<Told> told;
    connect(&work, &FileTakeOver::done, this, [&told](const Failure &failure, const TakenFile &file) {
        told.append({failure, file});
    });
    work.begin();
    if (!told.isEmpty() || !QTest::qWaitFor([&told] { return !told.isEmpty(); }, ScriptedServer::kPatienceMs))
        return {Failure::make(Failure::Kind::Stopped, {}), {}};
    return told.constFirst();
}

void TestFileTakeOver::whatTheServerHasTooIsTaken_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("isWhole");
    QTest::newRow("its beginning") << kThere << false;
    QTest::newRow("less than a piece of it") << TakeOver::kPiece / 2 << false;
    QTest::newRow("all of it") << kTotal << true;
}

void TestFileTakeOver::whatTheServerHasTooIsTaken()
{
    QFETCH(qint64, size);
    QFETCH(bool, isWhole);
    put(served(size));
    const Told told = lookedAt();
    QVERIFY2(!told.failure, qPrintable(told.failure.plain()));
    QCOMPARE(told.file.path, m_path);
    QCOMPARE(told.file.size, size);
    QCOMPARE(told.file.identity.total, kTotal);
    QCOMPARE(told.file.isWhole(), isWhole);
    QVERIFY(told.file.isAsCompared());
    QCOMPARE(TestFiles::readFile(m_path), served(size));
}

void TestFileTakeOver::ofALongFileOnlyPlacesAreAskedFor()
{
    put(served(kThere));
    QVERIFY(!lookedAt().failure);
    const QList<ScriptedRequest> requests = m_server->requests();
    QCOMPARE(requests.size(), kPieces);
    for (const ScriptedRequest &request : requests)
        QVERIFY2(!request.header("Range").isEmpty(), "all of it was asked for");
}

void TestFileTakeOver::whatDiffersAnywhereThatIsLookedAtIsRefused_data()
{
    QTest::addColumn<qint64>("place");
    const QList<TakeOver::Piece> pieces = TakeOver::piecesOf(kThere);
    QCOMPARE(pieces.size(), kPieces);
    for (const TakeOver::Piece &piece : pieces)
        QTest::addRow("in the piece at %lld", piece.offset) << piece.offset + piece.size - 1;
}

void TestFileTakeOver::whatDiffersAnywhereThatIsLookedAtIsRefused()
{
    QFETCH(qint64, place);
    QByteArray bytes = served(kThere);
    bytes[place] = char(bytes.at(place) ^ 1);
    put(bytes);
    const Told told = lookedAt();
    QCOMPARE(told.failure.kind, Failure::Kind::CannotTakeOver);
    QCOMPARE(told.failure.subject.path, m_path);
    QCOMPARE(TestFiles::readFile(m_path), bytes);
}

void TestFileTakeOver::whatCanBeSeenWithoutTheServerIsNotAsked_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QString>("beside");
    QTest::newRow("there is none") << qint64(-1) << QString();
    QTest::newRow("it is empty") << qint64(0) << QString();
    QTest::newRow("one of that name is begun here") << kThere << u".part"_s;
    QTest::newRow("another program goes on with it") << kThere << u".aria2"_s;
}

void TestFileTakeOver::whatCanBeSeenWithoutTheServerIsNotAsked()
{
    QFETCH(qint64, size);
    QFETCH(QString, beside);
    if (size >= 0)
        put(served(size));
    if (!beside.isEmpty()) {
        QFile note(m_path + beside);
        QVERIFY(note.open(QIODevice::WriteOnly));
    }
    const Told told = lookedAt();
    QCOMPARE(told.failure.kind, Failure::Kind::CannotTakeOver);
    QVERIFY(m_server->requests().isEmpty());
}

void TestFileTakeOver::whereTheServerRefusesItIsTheServersFailure()
{
    m_server->setResponse("/file", ScriptedResponse::error(kForbidden));
    put(served(kThere));
    const Told told = lookedAt();
    QVERIFY(told.failure);
    QVERIFY(told.failure.kind != Failure::Kind::CannotTakeOver);
    QCOMPARE(TestFiles::readFile(m_path), served(kThere));
}

void TestFileTakeOver::whereItsAddressLedIsTold()
{
    m_server->addRedirectChain("/hop", 2, "/file");
    put(served(kThere));
    const Told told = lookedAt(u"/hop/2"_s);
    QVERIFY2(!told.failure, qPrintable(told.failure.plain()));
    QCOMPARE(told.file.target, m_server->url(u"/file"_s));
    QCOMPARE(told.file.redirects, 2);
}

void TestFileTakeOver::whatWasWrittenToMeanwhileIsSeen()
{
    put(served(kThere));
    const Told told = lookedAt();
    QVERIFY(told.file.isAsCompared());
    put(served(kThere + 1));
    QVERIFY(!told.file.isAsCompared());
}

QTEST_GUILESS_MAIN(TestFileTakeOver)
#include "tst_filetakeover.moc"
