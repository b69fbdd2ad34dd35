// SPDX-License-Identifier: MIT
#include <host/network/ftpreply.h>
#include <host/network/guardednetworkaccessmanager.h>
#include <host/network/sharedcookiejar.h>
#include <tests/support/ftpserver.h>
#include <tests/support/testfiles.h>

#include <QDateTime>
#include <QFile>
#include <QNetworkReply>
#include <QPointer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{

constexpr quint64 kSeed = 21;
constexpr qint64 kSize = 307201;
constexpr qint64 kLargeSize = 20 * 1024 * 1024;
constexpr qint64 kReadBufferSize = 131072;

using Error = QNetworkReply::NetworkError;

/// Everything that a reply tells, in order; reads what comes unless told otherwise.
class Recorder : public QObject
{
public:
    explicit Recorder(QNetworkReply *reply, bool reads = true)
    {
        connect(reply, &QNetworkReply::metaDataChanged, this, [this] { events.append(u"head"_s); });
        connect(reply, &QNetworkReply::readyRead, this, [this, reply, reads] {
            if (events.isEmpty() || events.last() != "data"_L1)
                events.append(u"data"_s);
            if (reads)
                body += reply->readAll();
        });
        connect(reply, &QNetworkReply::errorOccurred, this,
                [this](Error code) { events.append(u"error %1"_s.arg(code)); });
        connect(reply, &QNetworkReply::finished, this, [this] { events.append(u"finished"_s); });
    }

    bool wait() const
    {
        return QTest::qWaitFor([this] { return events.contains(u"finished"_s); }, FtpServer::kPatienceMs);
    }

    QStringList events;
    QByteArray body;
};

const QStringList kWholeAnswer{u"head"_s, u"data"_s, u"finished"_s};

QStringList failureWith(Error code)
{
    return {u"error %1"_s.arg(code), u"finished"_s};
}

int statusOf(const QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

}

class TestFtpReply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void aFileOfAnySizeComesWhole_data();
    void aFileOfAnySizeComesWhole();
    void aRangeIsObeyed_data();
    void aRangeIsObeyed();
    void aRangeThatIsNoneIsIgnored_data();
    void aRangeThatIsNoneIsIgnored();
    void aRangeBehindTheEndCannotBeSatisfied_data();
    void aRangeBehindTheEndCannotBeSatisfied();
    void theTimeOfTheFileIsItsLastModified();
    void aServerWithoutTimesTellsNone();
    void aServerWithoutSizesTellsNoLengthAndNoRanges();
    void aServerWithoutSizesGivesTheWholeForARange();
    void aServerThatCannotBeginInTheMiddleGivesTheWhole();
    void aServerThatCannotBeginInTheMiddleOffersNoRanges();
    void withoutExtendedPassiveModeTheOldOneServes();
    void namesInTheUrlReachTheServerDecoded_data();
    void namesInTheUrlReachTheServerDecoded();
    void withoutALoginItIsAnonymous();
    void theLoginOfTheUrlIsUsed();
    void aWrongPasswordIsAskedForAndNotShown();
    void aControlCharacterReachesNobody();
    void aMissingFileIsNotFound_data();
    void aMissingFileIsNotFound();
    void aFolderIsNotDownloaded();
    void aRefusedConnectionIsSaid();
    void anUnknownHostIsSaid();
    void aTransferCutShortIsAnError();
    void aServerThatDiesIsAnError();
    void theLastWordOfTheServerIsNotWaitedFor();
    void anUnreadReplyStopsTheServer();
    void aSmallReadBufferLosesNothing();
    void abortEndsItOnceAndAtOnce_data();
    void abortEndsItOnceAndAtOnce();
    void abortWhileANameIsLookedUp();
    void closeEndsIt();
    void nothingIsEmittedBeforeTheEventLoop();
    void itMayBeDeletedInEverySignal_data();
    void itMayBeDeletedInEverySignal();
    void itDiesWithItsManager();
    void severalAtOnceDoNotMix();
    void aConnectionThatCameToItsEndServesAgain();
    void aProxyIsAskedForTheServer();
    void otherOperationsAreRefused();

private:
    QNetworkReply *get(const QUrl &url, const QByteArray &range = {});
    QNetworkReply *get(const QString &name, const QByteArray &range = {}) { return get(m_server->url(name), range); }
    static QByteArray content(qint64 from, qint64 length) { return TestFiles::content(kSeed, from, length); }

    std::unique_ptr<FtpServer> m_server;
    std::unique_ptr<GuardedNetworkAccessManager> m_manager;
};

void TestFtpReply::initTestCase()
{
    qRegisterMetaType<Error>();
}

void TestFtpReply::init()
{
    m_server = std::make_unique<FtpServer>();
    QVERIFY2(m_server->isListening(), qPrintable(m_server->errorText()));
    QVERIFY(m_server->addFile(u"file"_s, kSeed, kSize));
    m_manager = std::make_unique<GuardedNetworkAccessManager>(QSharedPointer<SharedCookieJar>::create());
}

void TestFtpReply::cleanup()
{
    m_manager.reset();
    m_server.reset();
}

QNetworkReply *TestFtpReply::get(const QUrl &url, const QByteArray &range)
{
    QNetworkRequest request(url);
    if (!range.isEmpty())
        request.setRawHeader("Range", range);
    return m_manager->get(request);
}

void TestFtpReply::aFileOfAnySizeComesWhole_data()
{
    QTest::addColumn<qint64>("size");
    for (const qint64 size : {qint64(0), qint64(1), kSize, kLargeSize})
        QTest::addRow("%lld bytes", size) << size;
}

void TestFtpReply::aFileOfAnySizeComesWhole()
{
    QFETCH(qint64, size);
    QVERIFY(m_server->addFile(u"sized"_s, kSeed, size));
    QNetworkReply *const reply = get(u"/sized"_s);
    QVERIFY(qobject_cast<FtpReply *>(reply));
    QCOMPARE(reply->manager(), m_manager.get());
    reply->setReadBufferSize(kReadBufferSize);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, size == 0 ? QStringList({u"head"_s, u"finished"_s}) : kWholeAnswer);
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QCOMPARE(statusOf(reply), 200);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(size));
    QCOMPARE(reply->rawHeader("Accept-Ranges"), QByteArray("bytes"));
    QVERIFY(!reply->hasRawHeader("Content-Range"));
    QVERIFY(recorder.body == content(0, size));
    QVERIFY(reply->isFinished() && !m_manager->isTransferring());
    QVERIFY(m_server->commands("PORT").isEmpty() && m_server->commands("EPRT").isEmpty());
}

void TestFtpReply::aRangeIsObeyed_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<qint64>("first");
    QTest::addColumn<qint64>("last");
    QTest::newRow("from the middle") << "bytes=1000-"_ba << qint64(1000) << kSize - 1;
    QTest::newRow("from the middle to before the end") << "bytes=1000-200999"_ba << qint64(1000) << qint64(200999);
    QTest::newRow("from the start to the middle") << "bytes=0-999"_ba << qint64(0) << qint64(999);
    QTest::newRow("from the start without an end") << "bytes=0-"_ba << qint64(0) << kSize - 1;
    QTest::newRow("one byte") << "bytes=5-5"_ba << qint64(5) << qint64(5);
    QTest::newRow("the last byte") << "bytes=307200-"_ba << kSize - 1 << kSize - 1;
    QTest::newRow("an end behind the file's") << "bytes=307000-999999999"_ba << qint64(307000) << kSize - 1;
}

void TestFtpReply::aRangeIsObeyed()
{
    QFETCH(QByteArray, range);
    QFETCH(qint64, first);
    QFETCH(qint64, last);
    QNetworkReply *const reply = get(u"/file"_s, range);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 206);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(last - first + 1));
    QCOMPARE(reply->rawHeader("Content-Range"),
             "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + "/307201");
    QCOMPARE(reply->rawHeader("Accept-Ranges"), QByteArray("bytes"));
    QVERIFY(recorder.body == content(first, last - first + 1));
    QCOMPARE(m_server->commands("REST"), QByteArrayList({"REST " + QByteArray::number(first)}));
}

void TestFtpReply::aRangeThatIsNoneIsIgnored_data()
{
    QTest::addColumn<QByteArray>("range");
    QTest::newRow("the last bytes") << "bytes=-500"_ba;
    QTest::newRow("several") << "bytes=0-5,10-20"_ba;
    QTest::newRow("backwards") << "bytes=9-5"_ba;
    QTest::newRow("another unit") << "lines=5-9"_ba;
    QTest::newRow("a number that is too large") << "bytes=99999999999999999999-"_ba;
}

void TestFtpReply::aRangeThatIsNoneIsIgnored()
{
    QFETCH(QByteArray, range);
    QNetworkReply *const reply = get(u"/file"_s, range);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(statusOf(reply), 200);
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpReply::aRangeBehindTheEndCannotBeSatisfied_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::newRow("just behind the end") << u"/file"_s << "bytes=307201-"_ba
                                         << "bytes */307201"_ba;
    QTest::newRow("far behind the end") << u"/file"_s << "bytes=400000-"_ba
                                        << "bytes */307201"_ba;
    QTest::newRow("nothing can be had of an empty file") << u"/empty"_s << "bytes=0-"_ba
                                                         << "bytes */0"_ba;
}

void TestFtpReply::aRangeBehindTheEndCannotBeSatisfied()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, range);
    QVERIFY(m_server->addFile(u"empty"_s, kSeed, 0));
    QNetworkReply *const reply = get(name, range);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, QStringList(u"head"_s) + failureWith(QNetworkReply::UnknownContentError));
    QCOMPARE(statusOf(reply), 416);
    QTEST(reply->rawHeader("Content-Range"), "contentRange");
}

void TestFtpReply::theTimeOfTheFileIsItsLastModified()
{
    QFile file(m_server->path(u"file"_s));
    const QDateTime time(QDate(2019, 3, 4), QTime(5, 6, 7), Qt::UTC);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(time, QFileDevice::FileModificationTime));
    file.close();
    QNetworkReply *const reply = get(u"/file"_s, "bytes=1000-");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(reply->rawHeader("Last-Modified"), QByteArray("Mon, 04 Mar 2019 05:06:07 GMT"));
    QCOMPARE(reply->header(QNetworkRequest::LastModifiedHeader).toDateTime(), time);
}

void TestFtpReply::aServerWithoutTimesTellsNone()
{
    m_server->setWithout("MDTM");
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QVERIFY(!reply->hasRawHeader("Last-Modified"));
}

void TestFtpReply::aServerWithoutSizesTellsNoLengthAndNoRanges()
{
    m_server->setWithout("SIZE");
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 200);
    QVERIFY(!reply->hasRawHeader("Content-Length"));
    QVERIFY(!reply->hasRawHeader("Accept-Ranges"));
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpReply::aServerWithoutSizesGivesTheWholeForARange()
{
    m_server->setWithout("SIZE");
    QNetworkReply *const reply = get(u"/file"_s, "bytes=1000-");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 200);
    QVERIFY(!reply->hasRawHeader("Content-Range"));
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpReply::aServerThatCannotBeginInTheMiddleGivesTheWhole()
{
    m_server->setWithout("REST");
    QNetworkReply *const reply = get(u"/file"_s, "bytes=1000-");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(statusOf(reply), 200);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(kSize));
    QVERIFY(!reply->hasRawHeader("Content-Range"));
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpReply::aServerThatCannotBeginInTheMiddleOffersNoRanges()
{
    m_server->setWithout("REST");
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(reply->rawHeader("Content-Length"), QByteArray::number(kSize));
    QVERIFY(!reply->hasRawHeader("Accept-Ranges"));
}

void TestFtpReply::withoutExtendedPassiveModeTheOldOneServes()
{
    QNetworkReply *reply = get(u"/file"_s);
    const Recorder first(reply);
    QVERIFY(first.wait());
    QCOMPARE(m_server->commands("EPSV").size(), 1);
    QVERIFY(m_server->commands("PASV").isEmpty());

    m_server->setWithout("EPSV");
    reply = get(u"/file"_s);
    const Recorder second(reply);
    QVERIFY(second.wait());
    QVERIFY(second.body == content(0, kSize));
    QCOMPARE(m_server->commands("PASV").size(), 1);
}

void TestFtpReply::namesInTheUrlReachTheServerDecoded_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::newRow("a space and a hash") << u"a b#c"_s << u"/a%20b%23c"_s;
    QTest::newRow("letters beyond ASCII") << u"süß"_s << u"/s%C3%BC%C3%9F"_s;
    QTest::newRow("a question mark") << u"what?x=1"_s << u"/what?x=1"_s;
    QTest::newRow("a percent sign") << u"100%41"_s << u"/100%2541"_s;
    QTest::newRow("a type at the end is no part of the name") << u"typed"_s << u"/typed;type=a"_s;
    QTest::newRow("a fragment is no part of the name") << u"plain"_s << u"/plain#part"_s;
}

void TestFtpReply::namesInTheUrlReachTheServerDecoded()
{
    QFETCH(QString, name);
    QFETCH(QString, path);
    QVERIFY(m_server->addFile(name, kSeed, 1000));
    const Recorder recorder(get(path));
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QVERIFY(recorder.body == content(0, 1000));
    QCOMPARE(m_server->commands("TYPE"), QByteArrayList({"TYPE I"}));
}

void TestFtpReply::withoutALoginItIsAnonymous()
{
    const Recorder recorder(get(u"/file"_s));
    QVERIFY(recorder.wait());
    QCOMPARE(m_server->commands("USER"), QByteArrayList({"USER anonymous"}));
}

void TestFtpReply::theLoginOfTheUrlIsUsed()
{
    QNetworkReply *const reply = get(m_server->url(u"/file"_s, FtpServer::tester()));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QCOMPARE(m_server->commands("USER"), QByteArrayList({"USER tester"}));
    QCOMPARE(m_server->commands("PASS"), QByteArrayList({"PASS geheim:@/"}));
    QVERIFY(reply->url().userInfo().isEmpty());
}

void TestFtpReply::aWrongPasswordIsAskedForAndNotShown()
{
    QNetworkReply *const reply = get(m_server->url(u"/file"_s, u"tester:falsch"_s));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::AuthenticationRequiredError));
    QVERIFY2(reply->errorString().contains(u"530"_s), qPrintable(reply->errorString()));
    QVERIFY(!reply->errorString().contains(u"falsch"_s));
    QVERIFY(!reply->request().url().toString().contains(u"falsch"_s));
}

void TestFtpReply::aControlCharacterReachesNobody()
{
    for (const QUrl &url :
         {m_server->url(u"/file"_s, u"tester%0D%0ADELE file:x"_s), m_server->url(u"/a%0D%0ADELE b"_s)}) {
        const Recorder recorder(get(url));
        QVERIFY(recorder.wait());
        QCOMPARE(recorder.events, failureWith(QNetworkReply::ContentOperationNotPermittedError));
    }
    QCOMPARE(m_server->connectionsCount(), 0);
}

void TestFtpReply::aMissingFileIsNotFound_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("without");
    QTest::newRow("the file") << u"/none"_s << QByteArray();
    QTest::newRow("its folder") << u"/none/file"_s << QByteArray();
    QTest::newRow("the file, of a server without sizes") << u"/none"_s << "SIZE,MDTM"_ba;
}

void TestFtpReply::aMissingFileIsNotFound()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, without);
    m_server->setWithout(without + ",NONE");
    QNetworkReply *const reply = get(path);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::ContentNotFoundError));
    QVERIFY(!reply->errorString().isEmpty());
    QVERIFY(!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid());
}

void TestFtpReply::aFolderIsNotDownloaded()
{
    QNetworkReply *const reply = get(u"/folder/"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::ContentOperationNotPermittedError));
    QVERIFY2(reply->errorString().contains(u"folder"_s), qPrintable(reply->errorString()));
}

void TestFtpReply::aRefusedConnectionIsSaid()
{
    const QUrl url = m_server->url(u"/file"_s);
    m_server->kill();
    QNetworkReply *const reply = get(url);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::ConnectionRefusedError));
    QVERIFY(!reply->errorString().isEmpty());
}

void TestFtpReply::anUnknownHostIsSaid()
{
    QNetworkReply *const reply = get(QUrl(u"ftp://no-such-host.invalid/file"_s));
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, failureWith(QNetworkReply::HostNotFoundError));
    QVERIFY2(reply->errorString().contains(u"no-such-host.invalid"_s), qPrintable(reply->errorString()));
}

void TestFtpReply::aTransferCutShortIsAnError()
{
    m_server->setShort(100000);
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, QStringList({u"head"_s, u"data"_s}) + failureWith(QNetworkReply::RemoteHostClosedError));
    QVERIFY(recorder.body == content(0, 100000));
}

void TestFtpReply::aServerThatDiesIsAnError()
{
    m_server->setRate(50000);
    const Recorder recorder(get(u"/file"_s));
    QTRY_VERIFY(!recorder.body.isEmpty());
    m_server->kill();
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, QStringList({u"head"_s, u"data"_s}) + failureWith(QNetworkReply::RemoteHostClosedError));
    QVERIFY(content(0, kSize).startsWith(recorder.body));
}

void TestFtpReply::theLastWordOfTheServerIsNotWaitedFor()
{
    m_server->setMute();
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events, kWholeAnswer);
    QVERIFY(recorder.body == content(0, kSize));
}

void TestFtpReply::anUnreadReplyStopsTheServer()
{
    QVERIFY(m_server->addFile(u"large"_s, kSeed, kLargeSize));
    QNetworkReply *const reply = get(u"/large"_s);
    reply->setReadBufferSize(kReadBufferSize);
    const Recorder recorder(reply, false);
    QTRY_VERIFY(reply->bytesAvailable() > kReadBufferSize / 2);
    const Recorder other(get(u"/file"_s));
    QVERIFY(other.wait());
    QVERIFY(reply->bytesAvailable() <= kReadBufferSize);
    QVERIFY(reply->isRunning());

    QByteArray body;
    QVERIFY(QTest::qWaitFor(
        [&] {
            body += reply->readAll();
            return reply->isFinished();
        },
        FtpServer::kPatienceMs));
    body += reply->readAll();
    QVERIFY(body == content(0, kLargeSize));
}

void TestFtpReply::aSmallReadBufferLosesNothing()
{
    QNetworkReply *const reply = get(u"/file"_s);
    reply->setReadBufferSize(1000);
    qint64 most = 0;
    connect(reply, &QNetworkReply::readyRead, this, [&] { most = std::max(most, reply->bytesAvailable()); });
    QByteArray body;
    QVERIFY(QTest::qWaitFor(
        [&] {
            body += reply->read(700);
            return reply->isFinished() && reply->bytesAvailable() == 0;
        },
        FtpServer::kPatienceMs));
    QCOMPARE(reply->error(), QNetworkReply::NoError);
    QVERIFY(body == content(0, kSize));
    QVERIFY2(most <= 16384, QByteArray::number(most));
}

void TestFtpReply::abortEndsItOnceAndAtOnce_data()
{
    QTest::addColumn<QString>("when");
    QTest::newRow("before it begins") << QString();
    QTest::newRow("while it asks") << u"asking"_s;
    QTest::newRow("in its middle") << u"data"_s;
}

void TestFtpReply::abortEndsItOnceAndAtOnce()
{
    QFETCH(QString, when);
    m_server->setRate(50000);
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    if (when == "asking"_L1)
        QTRY_VERIFY(!m_server->commands("USER").isEmpty());
    else if (!when.isEmpty())
        QTRY_VERIFY(recorder.events.contains(when));
    const QStringList before = recorder.events;
    reply->abort();
    QCOMPARE(recorder.events, before + failureWith(QNetworkReply::OperationCanceledError));
    reply->abort();
    QTRY_COMPARE(m_server->openConnectionsCount(), 0);
    QCOMPARE(recorder.events, before + failureWith(QNetworkReply::OperationCanceledError));
    QVERIFY(reply->isFinished());
}

void TestFtpReply::abortWhileANameIsLookedUp()
{
    QNetworkReply *const reply = get(QUrl(u"ftp://no-such-host.invalid/file"_s));
    const Recorder recorder(reply);
    QCoreApplication::processEvents();
    if (recorder.events.isEmpty())
        reply->abort();
    QCOMPARE(recorder.events.size(), 2);
    QCOMPARE(recorder.events.last(), u"finished"_s);
}

void TestFtpReply::closeEndsIt()
{
    m_server->setRate(50000);
    QNetworkReply *const reply = get(u"/file"_s);
    const Recorder recorder(reply);
    QTRY_VERIFY(!recorder.body.isEmpty());
    reply->close();
    QCOMPARE(recorder.events.last(), u"finished"_s);
    QTRY_COMPARE(m_server->openConnectionsCount(), 0);
}

void TestFtpReply::nothingIsEmittedBeforeTheEventLoop()
{
    const Recorder folder(get(u"/folder/"_s));
    const Recorder file(get(u"/file"_s));
    QVERIFY(folder.events.isEmpty() && file.events.isEmpty());
    QVERIFY(folder.wait() && file.wait());
}

void TestFtpReply::itMayBeDeletedInEverySignal_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("range");
    QTest::addColumn<QString>("signal");
    QTest::newRow("the head") << u"/file"_s << QByteArray() << u"head"_s;
    QTest::newRow("data") << u"/file"_s << QByteArray() << u"data"_s;
    QTest::newRow("progress") << u"/file"_s << QByteArray() << u"progress"_s;
    QTest::newRow("the channel's end") << u"/file"_s << QByteArray() << u"channel"_s;
    QTest::newRow("the end") << u"/file"_s << QByteArray() << u"finished"_s;
    QTest::newRow("an error") << u"/none"_s << QByteArray() << u"error"_s;
    QTest::newRow("the end behind an error") << u"/none"_s << QByteArray() << u"finished"_s;
    QTest::newRow("the head of a range behind the end") << u"/file"_s << "bytes=400000-"_ba << u"head"_s;
    QTest::newRow("the error of a range behind the end") << u"/file"_s << "bytes=400000-"_ba << u"error"_s;
}

void TestFtpReply::itMayBeDeletedInEverySignal()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, range);
    QFETCH(QString, signal);
    const QPointer<QNetworkReply> reply = get(path, range);
    const auto deleteIn = [&](const QString &name) {
        if (name == signal)
            delete reply.data();
    };
    connect(reply, &QNetworkReply::metaDataChanged, this, [=] { deleteIn(u"head"_s); });
    connect(reply, &QNetworkReply::readyRead, this, [=] { deleteIn(u"data"_s); });
    connect(reply, &QNetworkReply::downloadProgress, this, [=] { deleteIn(u"progress"_s); });
    connect(reply, &QNetworkReply::readChannelFinished, this, [=] { deleteIn(u"channel"_s); });
    connect(reply, &QNetworkReply::errorOccurred, this, [=] { deleteIn(u"error"_s); });
    connect(reply, &QNetworkReply::finished, this, [=] { deleteIn(u"finished"_s); });
    QTRY_VERIFY_WITH_TIMEOUT(reply.isNull(), FtpServer::kPatienceMs);
    QVERIFY(!m_manager->hasLivingReplies());
    const Recorder next(get(u"/file"_s));
    QVERIFY(next.wait());
    QVERIFY(next.body == content(0, kSize));
}

void TestFtpReply::itDiesWithItsManager()
{
    m_server->setRate(50000);
    const QPointer<QNetworkReply> reply = get(u"/file"_s);
    QTRY_VERIFY(reply->bytesAvailable() > 0);
    m_manager.reset();
    QVERIFY(reply.isNull());
    QTRY_COMPARE(m_server->openConnectionsCount(), 0);
}

void TestFtpReply::severalAtOnceDoNotMix()
{
    QNetworkReply *const last = get(u"/file"_s, "bytes=200000-");
    const Recorder first(get(u"/file"_s, "bytes=0-99999"));
    const Recorder second(get(u"/file"_s, "bytes=100000-199999"));
    const Recorder third(last);
    QVERIFY(first.wait() && second.wait() && third.wait());
    QVERIFY(first.body + second.body + third.body == content(0, kSize));
}

void TestFtpReply::aConnectionThatCameToItsEndServesAgain()
{
    const Recorder missing(get(u"/none"_s));
    QVERIFY(missing.wait());
    const Recorder file(get(u"/file"_s));
    QVERIFY(file.wait());
    QVERIFY(file.body == content(0, kSize));
    QCOMPARE(m_server->connectionsCount(), 1);
}

void TestFtpReply::aProxyIsAskedForTheServer()
{
    QTcpServer proxy;
    QVERIFY(proxy.listen(QHostAddress::LocalHost));
    ProxyChoice::Settings settings;
    settings.everywhere = QUrl(u"http://127.0.0.1:%1"_s.arg(proxy.serverPort()));
    m_manager->setProxySettings(settings);
    const Recorder recorder(get(QUrl(u"ftp://files.example:2121/file"_s)));
    QTRY_VERIFY(proxy.hasPendingConnections());
    QTcpSocket *const socket = proxy.nextPendingConnection();
    QTRY_VERIFY(socket->canReadLine());
    QCOMPARE(socket->readLine(), QByteArray("CONNECT files.example:2121 HTTP/1.1\r\n"));
    socket->abort();
    QVERIFY(recorder.wait());
    QCOMPARE(recorder.events.size(), 2);
}

void TestFtpReply::otherOperationsAreRefused()
{
    QNetworkReply *const reply = m_manager->put(QNetworkRequest(m_server->url(u"/new"_s)), "text");
    const Recorder recorder(reply);
    QVERIFY(recorder.wait());
    QVERIFY(reply->error() != QNetworkReply::NoError);
    QCOMPARE(m_server->connectionsCount(), 0);
}

QTEST_GUILESS_MAIN(TestFtpReply)
#include "tst_ftpreply.moc"
