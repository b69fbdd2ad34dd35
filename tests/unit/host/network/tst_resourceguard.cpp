// SPDX-License-Identifier: MIT
#include <host/network/resourceguard.h>

#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{

using Error = QNetworkReply::NetworkError;
using Fields = QList<ResourceIdentity::Field>;
using Head = TransferPipe::Head;
using Kind = ResourceGuard::Judgement::Kind;
using Task = ResourceGuard::Task;

const QUrl kAddress(u"http://given.example/f"_s);
const QUrl kMirror(u"http://mirror.example/f"_s);
const QUrl kTarget(u"http://target.example/f"_s);
const QUrl kOtherTarget(u"http://elsewhere.example/f"_s);

constexpr int kHops = 3;

Head head(int status, const Fields &fields = {})
{
    return {status, {}, fields, {}, false, true};
}

Head part(const QByteArray &etag, const QByteArray &total = "10")
{
    return head(206, {{"ETag", etag}, {"Content-Range", "bytes 4-9/" + total}});
}

Head whole(const QByteArray &etag, const QByteArray &length = "10")
{
    return head(200, {{"ETag", etag}, {"Content-Length", length}});
}

/// As it is where redirects led from one to the other.
KnownAddress known(const QUrl &url, const QUrl &target = {}, int redirects = kHops)
{
    return {url, target, target.isEmpty() ? 0 : redirects, ResourceIdentity::of(206, part("\"a\"").fields)};
}

std::unique_ptr<ResourceGuard> guardWith(const QList<KnownAddress> &addresses, Task task = Task::Download,
                                         bool holdsBytes = true)
{
    auto guard = std::make_unique<ResourceGuard>(task);
    guard->setMemory({addresses, {}}, holdsBytes);
    return guard;
}

QUrl ledTo(ResourceGuard &guard, const QUrl &url = kAddress, bool isRest = true)
{
    return guard.ledTo(guard.pathTo(url, isRest));
}

/// The path of a request that was led from the address to its target.
RequestPath ledPath(ResourceGuard &guard, bool isRest = true)
{
    const RequestPath path = guard.pathTo(kAddress, isRest);
    const QUrl target = guard.ledTo(path);
    guard.beginRedirect(path, target, true);
    const RequestPath led = guard.pathTo(target, isRest);
    guard.endRedirect();
    return led;
}

RequestPath followed(ResourceGuard &guard, const RequestPath &path, const QUrl &target, bool isMadeUp = false)
{
    guard.beginRedirect(path, target, isMadeUp);
    const RequestPath next = guard.pathTo(target, path.isRest);
    guard.endRedirect();
    return next;
}

}

/// To whom a download's requests go, and which answers are of its resource.
class TestResourceGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aRequestIsLedToWhatIsRemembered();
    void aRequestIsNotLed_data();
    void aRequestIsNotLed();
    void anAddressIsLedFromOnceAWay();
    void whatIsMadeUpIsKnownBeforehand();
    void anAnswerLeadsBackOrNot_data();
    void anAnswerLeadsBackOrNot();
    void aLackOfAnAnswerLeadsBackOrNot_data();
    void aLackOfAnAnswerLeadsBackOrNot();
    void nobodyIsLedBackTwice();
    void nobodyIsLedBackFromBehindTheTarget();
    void aForsakenTargetIsNotAskedAgainInTheRun();
    void targetsThatAreGoodForOneRequestAreNotUsedForLong();
    void whatWasGivenAwayStaysAsItWas();
    void aNewTargetIsTakenAndAskedByOthers();
    void aNewTargetWithAnotherFileIsAChange();
    void aRedirectToItselfIsNoTarget();
    void anAnswerIsJudgedOrNot_data();
    void anAnswerIsJudgedOrNot();
    void otherAnswersAreNotJudged_data();
    void otherAnswersAreNotJudged();
    void anAnswerThatGoesOnIsHeldAgainst();
    void validatorsOfMirrorsAreTheirOwn();
    void aSizeCountsForAllAddresses();
    void aDigestCountsForAllAddresses();
    void whatHadNoBytesBindsNobody();
    void aWholeForARangeIsNotRemembered();
    void aChangeIsToldOnce();
    void aLookNeverRefuses();
    void aLookLearnsNothing();
    void aDateUnderTheSameStrongTagMeansNothing();
    void bytesAreEvidence();
    void evidenceOfBytesThatAreGoneIsNone();
};

void TestResourceGuard::aRequestIsLedToWhatIsRemembered()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    QCOMPARE(ledTo(*guard), kTarget);
    QCOMPARE(ledTo(*guard, kAddress, false), kTarget);
    const RequestPath led = ledPath(*guard);
    QCOMPARE(led.address, kAddress);
    QCOMPARE(led.url, kTarget);
    QVERIFY(led.isLed && !led.wasLedBack);
    QCOMPARE(led.redirects, 0);
}

void TestResourceGuard::aRequestIsNotLed_data()
{
    QTest::addColumn<QList<KnownAddress>>("addresses");
    QTest::addColumn<Task>("task");
    QTest::addColumn<bool>("mayLead");
    QTest::addColumn<bool>("holdsBytes");
    QTest::addColumn<QUrl>("target"); // empty = it is not led
    using Addresses = QList<KnownAddress>;
    const auto row = [](const char *name, const Addresses &addresses, const QUrl &target, Task task = Task::Download,
                        bool mayLead = true, bool holdsBytes = true) {
        QTest::newRow(name) << addresses << task << mayLead << holdsBytes << target;
    };
    const QUrl none;
    row("when nothing is remembered", {}, none);
    row("when it answers itself", {known(kAddress)}, none);
    row("when another is remembered", {known(kMirror, kTarget)}, none);
    row("to look", {known(kAddress, kTarget)}, none, Task::Look);
    row("with a body", {known(kAddress, kTarget)}, none, Task::Download, false);
    row("when there are no bytes to go on with", {known(kAddress, kTarget)}, none, Task::Download, true, false);
    row("when it is another's target", {known(kAddress, kTarget), known(kMirror, kAddress)}, none);
    row("over a chain that is too long", {known(kAddress, kTarget, 13)}, none);
    row("over a chain of twelve: it is", {known(kAddress, kTarget, 12)}, kTarget);
}

void TestResourceGuard::aRequestIsNotLed()
{
    QFETCH(QList<KnownAddress>, addresses);
    QFETCH(Task, task);
    QFETCH(bool, mayLead);
    QFETCH(bool, holdsBytes);
    const auto guard = guardWith(addresses, task, holdsBytes);
    guard->setMayLead(mayLead);
    QTEST(ledTo(*guard), "target");
}

void TestResourceGuard::anAddressIsLedFromOnceAWay()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    const RequestPath led = ledPath(*guard);
    QVERIFY(guard->ledTo(led).isEmpty());
    const RequestPath back = followed(*guard, led, kAddress, true);
    QVERIFY(back.isLed && back.wasLedBack);
    QCOMPARE(back.address, kAddress);
    QVERIFY(guard->ledTo(back).isEmpty());
    // A server's redirect to the address comes upon the same way.
    const RequestPath circle = followed(*guard, followed(*guard, back, kOtherTarget), kAddress);
    QCOMPARE(circle.redirects, 2);
    QVERIFY(guard->ledTo(circle).isEmpty());
}

void TestResourceGuard::whatIsMadeUpIsKnownBeforehand()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    guard->expect(kAddress);
    QVERIFY(guard->isMadeUp());
    const RequestPath path = guard->pathTo(kAddress, true);
    QVERIFY(!guard->isMadeUp());
    guard->beginRedirect(path, kTarget, true);
    QVERIFY(guard->isMadeUp());
    guard->expect(kTarget);
    QVERIFY2(!guard->isMadeUp(), "what goes to the target is sent");
    guard->endRedirect();
    guard->beginRedirect(guard->pathTo(kMirror, true), kTarget, false);
    QVERIFY2(!guard->isMadeUp(), "a server's redirect is none of ours");
}

void TestResourceGuard::anAnswerLeadsBackOrNot_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("isRest");
    QTest::addColumn<bool>("leadsBack");
    for (const int status : {301, 302, 303, 307, 308, 401, 403, 404, 410})
        QTest::addRow("%d", status) << status << true << true;
    for (const int status : {304, 400, 406, 408, 416, 429, 500, 502, 503, 504})
        QTest::addRow("%d", status) << status << true << false;
    QTest::newRow("403 to what begins at byte 0") << 403 << false << true;
    QTest::newRow("the whole to a range") << 200 << true << true;
    QTest::newRow("the whole to what begins at byte 0") << 200 << false << false;
    QTest::newRow("the range") << 206 << true << false;
}

void TestResourceGuard::anAnswerLeadsBackOrNot()
{
    QFETCH(int, status);
    QFETCH(bool, isRest);
    QFETCH(bool, leadsBack);
    const auto guard = guardWith({known(kAddress, kTarget)});
    QCOMPARE(guard->judge(ledPath(*guard, isRest), head(status)).kind, leadsBack ? Kind::LedBack : Kind::Welcome);
    QCOMPARE(ledTo(*guard).isEmpty(), leadsBack);
    // The same from the address itself is the module's affair.
    const auto unled = guardWith({known(kAddress)});
    QCOMPARE(unled->judge(unled->pathTo(kAddress, isRest), head(status)).kind, Kind::Welcome);
}

void TestResourceGuard::aLackOfAnAnswerLeadsBackOrNot_data()
{
    QTest::addColumn<Error>("error");
    QTest::addColumn<bool>("leadsBack");
    const auto row = [](const char *name, Error error, bool leadsBack) { QTest::newRow(name) << error << leadsBack; };
    row("nobody listens", QNetworkReply::ConnectionRefusedError, true);
    row("no such host", QNetworkReply::HostNotFoundError, true);
    row("it hangs up", QNetworkReply::RemoteHostClosedError, true);
    row("it is silent", QNetworkReply::TimeoutError, true);
    row("its certificate is refused", QNetworkReply::SslHandshakeFailedError, true);
    row("there is no way to it", QNetworkReply::UnknownNetworkError, true);
    row("nobody waits any more", QNetworkReply::OperationCanceledError, false);
    row("it makes no sense", QNetworkReply::ProtocolFailure, false);
    row("the proxy refuses", QNetworkReply::ProxyConnectionRefusedError, false);
    row("all went well", QNetworkReply::NoError, false);
}

void TestResourceGuard::aLackOfAnAnswerLeadsBackOrNot()
{
    QFETCH(Error, error);
    QFETCH(bool, leadsBack);
    const auto guard = guardWith({known(kAddress, kTarget)});
    QCOMPARE(guard->isLedBack(ledPath(*guard), error), leadsBack);
    const auto unled = guardWith({known(kAddress)});
    QVERIFY(!unled->isLedBack(unled->pathTo(kAddress, true), error));
}

void TestResourceGuard::nobodyIsLedBackTwice()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    const RequestPath back = followed(*guard, ledPath(*guard), kAddress, true);
    QCOMPARE(guard->judge(back, head(403)).kind, Kind::Welcome);
    QVERIFY(!guard->isLedBack(back, QNetworkReply::ConnectionRefusedError));
}

void TestResourceGuard::nobodyIsLedBackFromBehindTheTarget()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    RequestPath beyond = ledPath(*guard);
    ++beyond.redirects;
    QCOMPARE(guard->judge(beyond, head(403)).kind, Kind::Welcome);
}

void TestResourceGuard::aForsakenTargetIsNotAskedAgainInTheRun()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    QCOMPARE(guard->judge(ledPath(*guard), head(403)).kind, Kind::LedBack);
    QVERIFY(ledTo(*guard).isEmpty());
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), head(500)).kind, Kind::Welcome);
    QVERIFY2(ledTo(*guard).isEmpty(), "an answer that brings nothing changes nothing");
}

void TestResourceGuard::targetsThatAreGoodForOneRequestAreNotUsedForLong()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    const RequestPath first = ledPath(*guard);
    QCOMPARE(guard->judge(first, head(403)).kind, Kind::LedBack);
    guard->judge(followed(*guard, followed(*guard, first, kAddress, true), kOtherTarget), part("\"a\""));
    QCOMPARE(ledTo(*guard), kOtherTarget);
    const RequestPath second = ledPath(*guard);
    QCOMPARE(guard->judge(second, head(403)).kind, Kind::LedBack);
    guard->judge(followed(*guard, followed(*guard, second, kAddress, true), kTarget), part("\"a\""));
    QVERIFY(ledTo(*guard).isEmpty());
}

/// Its owner compares what it has kept with what there is now.
void TestResourceGuard::whatWasGivenAwayStaysAsItWas()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    const ResourceMemory kept = guard->memory();
    const RequestPath led = ledPath(*guard);
    QCOMPARE(guard->judge(led, head(404)).kind, Kind::LedBack);
    guard->judge(followed(*guard, followed(*guard, led, kAddress, true), kOtherTarget), part("\"a\""));
    QCOMPARE(kept.addresses, QList<KnownAddress>{known(kAddress, kTarget)});
    QVERIFY(guard->memory() != kept);
}

void TestResourceGuard::aNewTargetIsTakenAndAskedByOthers()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    const RequestPath led = ledPath(*guard);
    QCOMPARE(guard->judge(led, head(404)).kind, Kind::LedBack);
    const RequestPath fresh = followed(*guard, followed(*guard, led, kAddress, true), kOtherTarget);
    QCOMPARE(guard->judge(fresh, part("\"a\"")).kind, Kind::Welcome);
    const KnownAddress expected = known(kAddress, kOtherTarget, 1);
    QCOMPARE(guard->memory().addresses, QList<KnownAddress>{expected});
    QCOMPARE(ledTo(*guard), kOtherTarget);
}

void TestResourceGuard::aNewTargetWithAnotherFileIsAChange()
{
    const auto guard = guardWith({known(kAddress, kTarget)});
    const RequestPath led = ledPath(*guard);
    QCOMPARE(guard->judge(led, head(404)).kind, Kind::LedBack);
    const RequestPath fresh = followed(*guard, followed(*guard, led, kAddress, true), kOtherTarget);
    QCOMPARE(guard->judge(fresh, part("\"b\"")).kind, Kind::Refused);
    QCOMPARE(guard->changedAddress(), kAddress);
    QCOMPARE(guard->memory().addresses, QList<KnownAddress>{known(kAddress, kTarget)});
}

void TestResourceGuard::aRedirectToItselfIsNoTarget()
{
    const auto guard = guardWith({});
    const RequestPath path = followed(*guard, guard->pathTo(kAddress, true), kAddress);
    QCOMPARE(guard->judge(path, part("\"a\"")).kind, Kind::Welcome);
    QVERIFY(guard->memory().addresses.constFirst().target.isEmpty());
}

void TestResourceGuard::anAnswerIsJudgedOrNot_data()
{
    QTest::addColumn<bool>("holdsBytes");
    QTest::addColumn<bool>("isRest");
    QTest::addColumn<Head>("answer");
    QTest::addColumn<bool>("isRefused");
    QTest::newRow("a part of another file") << true << true << part("\"b\"") << true;
    QTest::newRow("a part of another file, weakly") << true << true << part("W/\"b\"") << true;
    QTest::newRow("another file") << true << false << whole("\"b\"") << true;
    QTest::newRow("another file in place of a part") << true << true << whole("\"b\"") << true;
    QTest::newRow("a part of another size") << true << true << part("\"a\"", "11") << true;
    QTest::newRow("another size") << true << false << whole("\"a\"", "11") << true;
    QTest::newRow("a part of the same") << true << true << part("\"a\"") << false;
    QTest::newRow("the same") << true << false << whole("\"a\"") << false;
    QTest::newRow("the same in place of a part") << true << true << whole("\"a\"") << false;
    QTest::newRow("another file before there are bytes") << false << false << whole("\"b\"", "11") << false;
}

void TestResourceGuard::anAnswerIsJudgedOrNot()
{
    QFETCH(bool, holdsBytes);
    QFETCH(bool, isRest);
    QFETCH(Head, answer);
    QFETCH(bool, isRefused);
    const auto guard = guardWith({known(kAddress)}, Task::Download, holdsBytes);
    const ResourceGuard::Judgement judgement = guard->judge(guard->pathTo(kAddress, isRest), answer);
    QCOMPARE(judgement.kind, isRefused ? Kind::Refused : Kind::Welcome);
    QCOMPARE(judgement.reason.startsWith(u"The server has another file by now: its "_s), isRefused);
    QCOMPARE(guard->hasFoundChange(), isRefused);
}

void TestResourceGuard::otherAnswersAreNotJudged_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {204, 302, 404, 416, 500})
        QTest::addRow("%d", status) << status;
}

/// What they say of size and ETag is of a page.
void TestResourceGuard::otherAnswersAreNotJudged()
{
    QFETCH(int, status);
    const auto guard = guardWith({known(kAddress)});
    Head answer = whole("\"b\"", "11");
    answer.status = status;
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), answer).kind, Kind::Welcome);
    QCOMPARE(guard->memory().addresses, QList<KnownAddress>{known(kAddress)});
}

void TestResourceGuard::anAnswerThatGoesOnIsHeldAgainst()
{
    const auto guard = guardWith({}, Task::Download, false);
    const RequestPath path = guard->pathTo(kAddress, false);
    QCOMPARE(guard->judge(path, whole("\"a\"")).kind, Kind::Welcome);
    guard->beginAnswer();
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), part("\"b\"")).kind, Kind::Refused);
    guard->endAnswer();
    const auto other = guardWith({}, Task::Download, false);
    QCOMPARE(other->judge(path, whole("\"a\"")).kind, Kind::Welcome);
    other->beginAnswer();
    other->endAnswer();
    QCOMPARE(other->judge(path, whole("\"b\"")).kind, Kind::Welcome);
    QCOMPARE(other->memory().addresses.constFirst().identity.etag, "\"b\""_ba);
}

void TestResourceGuard::validatorsOfMirrorsAreTheirOwn()
{
    const auto guard = guardWith({known(kAddress)});
    QCOMPARE(guard->judge(guard->pathTo(kMirror, true), part("\"m\"")).kind, Kind::Welcome);
    QCOMPARE(guard->judge(guard->pathTo(kMirror, true), part("\"a\"")).kind, Kind::Refused);
    QCOMPARE(guard->changedAddress(), kMirror);
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), part("\"a\"")).kind, Kind::Welcome);
}

void TestResourceGuard::aSizeCountsForAllAddresses()
{
    const auto guard = guardWith({known(kAddress)});
    QCOMPARE(guard->judge(guard->pathTo(kMirror, true), part("\"m\"", "11")).kind, Kind::Refused);
    // Nor does one that once said none get away with another.
    QCOMPARE(guard->judge(guard->pathTo(kMirror, true), part("\"m\"", "*")).kind, Kind::Welcome);
    QCOMPARE(guard->judge(guard->pathTo(kMirror, true), part("\"m\"", "11")).kind, Kind::Refused);
    QCOMPARE(guard->judge(guard->pathTo(kMirror, true), part("\"m\"", "10")).kind, Kind::Welcome);
}

void TestResourceGuard::aDigestCountsForAllAddresses()
{
    const auto sha256 = [](char of) { return "sha-256=:" + QByteArray(32, of).toBase64() + ":"; };
    const auto md5 = [](char of) { return "md5=:" + QByteArray(16, of).toBase64() + ":"; };
    const auto answer = [](const QByteArray &digest) {
        return head(206, {{"Content-Range", "bytes 4-9/10"}, {"Repr-Digest", digest}});
    };
    KnownAddress first = known(kAddress);
    first.identity.digest = sha256('a');
    const auto guard = guardWith({first, known(kTarget)});
    const auto judged = [&](const QUrl &url, const QByteArray &digest) {
        return guard->judge(guard->pathTo(url, true), answer(digest)).kind;
    };
    QCOMPARE(judged(kMirror, sha256('b')), Kind::Refused);
    // Nor does one get away with another whose size is known, or that once named one of another algorithm.
    QCOMPARE(judged(kTarget, sha256('b')), Kind::Refused);
    QCOMPARE(judged(kMirror, md5('m')), Kind::Welcome);
    QCOMPARE(judged(kMirror, sha256('b')), Kind::Refused);
    QCOMPARE(judged(kTarget, md5('n')), Kind::Refused);
    QCOMPARE(judged(kMirror, sha256('a')), Kind::Welcome);
    QCOMPARE(judged(kTarget, sha256('a') + ";p=1"), Kind::Welcome);
}

void TestResourceGuard::whatHadNoBytesBindsNobody()
{
    const auto guard = guardWith({known(kAddress, kTarget)}, Task::Download, false);
    QCOMPARE(guard->judge(guard->pathTo(kMirror, false), whole("\"m\"", "11")).kind, Kind::Welcome);
    guard->takeBytes(ResourceGuard::answerOf(guard->pathTo(kMirror, false), whole("\"m\"", "11")));
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), part("\"a\"", "10")).kind, Kind::Refused);
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), part("\"b\"", "11")).kind, Kind::Welcome);
}

void TestResourceGuard::aWholeForARangeIsNotRemembered()
{
    const auto guard = guardWith({});
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), whole("\"a\"")).kind, Kind::Welcome);
    QVERIFY(guard->memory().addresses.isEmpty());
}

void TestResourceGuard::aChangeIsToldOnce()
{
    const auto guard = guardWith({known(kAddress), known(kMirror)});
    const QSignalSpy refused(guard.get(), &ResourceGuard::refused);
    const auto first = guard->judge(guard->pathTo(kAddress, true), part("\"b\""));
    QCOMPARE(guard->judge(guard->pathTo(kMirror, true), part("\"c\"")).kind, Kind::Refused);
    QCOMPARE(refused.count(), 1);
    QCOMPARE(refused.at(0).at(0).toString(), first.reason);
    QCOMPARE(first.reason, u"The server has another file by now: its ETag is \"b\", and was \"a\"."_s);
    QCOMPARE(guard->changedAddress(), kAddress);
}

void TestResourceGuard::aLookNeverRefuses()
{
    const auto guard = guardWith({known(kAddress)}, Task::Look);
    const QSignalSpy refused(guard.get(), &ResourceGuard::refused);
    QCOMPARE(guard->judge(guard->pathTo(kAddress, false), whole("\"b\"")).kind, Kind::Welcome);
    QVERIFY(guard->hasFoundChange());
    QCOMPARE(refused.count(), 0);
}

void TestResourceGuard::aLookLearnsNothing()
{
    const auto guard = guardWith({known(kAddress, kTarget)}, Task::Look);
    const RequestPath path = followed(*guard, guard->pathTo(kAddress, false), kOtherTarget);
    QCOMPARE(guard->judge(path, whole("\"a\"")).kind, Kind::Welcome);
    QVERIFY(!guard->hasFoundChange());
    QCOMPARE(guard->memory().addresses, QList<KnownAddress>{known(kAddress, kTarget)});
    QVERIFY(guard->knows(kAddress) && !guard->knows(kMirror));
    QCOMPARE(guard->lastFields(), whole("\"a\"").fields);
}

void TestResourceGuard::aDateUnderTheSameStrongTagMeansNothing()
{
    const auto guard = guardWith({});
    const auto dated = [](const QByteArray &etag, const QByteArray &day) {
        Head answer = part(etag);
        answer.fields.append({"Last-Modified", day + " Jan 2024 10:00:00 GMT"});
        return answer;
    };
    const RequestPath path = guard->pathTo(kAddress, true);
    QVERIFY(!guard->judge(path, dated("\"a\"", "Mon, 01")).hasOtherDate);
    QVERIFY(!guard->judge(path, dated("\"a\"", "Mon, 01")).hasOtherDate);
    const ResourceGuard::Judgement touched = guard->judge(path, dated("\"a\"", "Tue, 02"));
    QCOMPARE(touched.kind, Kind::Welcome);
    QVERIFY(touched.hasOtherDate);
    QCOMPARE(guard->judge(path, dated("W/\"a\"", "Tue, 02")).kind, Kind::Refused);
}

void TestResourceGuard::bytesAreEvidence()
{
    const auto guard = guardWith({}, Task::Download, false);
    const RequestPath path = guard->pathTo(kAddress, false);
    QCOMPARE(guard->judge(path, whole("\"a\"")).kind, Kind::Welcome);
    QCOMPARE(guard->memory().evidence, Evidence());
    guard->takeBytes(ResourceGuard::answerOf(path, whole("\"a\"")));
    QCOMPARE(guard->memory().evidence.answers, 1);
    QCOMPARE(guard->memory().evidence.address, kAddress);
    QCOMPARE(guard->judge(guard->pathTo(kAddress, true), part("\"b\"")).kind, Kind::Refused);
    // Where it came from in the end is nobody's address.
    RequestPath behind = followed(*guard, guard->pathTo(kAddress, true), kTarget);
    guard->takeBytes(ResourceGuard::answerOf(behind, part("\"a\"")));
    QCOMPARE(guard->memory().evidence.reason(), Evidence::Doubt::None);
    guard->takeBytes(ResourceGuard::answerOf(guard->pathTo(kMirror, true), part("\"a\"")));
    QCOMPARE(guard->memory().evidence.reason(), Evidence::Doubt::SeveralAddresses);
}

void TestResourceGuard::evidenceOfBytesThatAreGoneIsNone()
{
    const Evidence old = Evidence::ofOldBytes();
    ResourceGuard guard(Task::Download);
    guard.setMemory({{known(kAddress)}, old}, true);
    QCOMPARE(guard.memory().evidence, old);
    guard.setMemory({{known(kAddress)}, old}, false);
    QCOMPARE(guard.memory().evidence, Evidence());
    QCOMPARE(guard.memory().addresses, QList<KnownAddress>{known(kAddress)});
}

QTEST_GUILESS_MAIN(TestResourceGuard)

#include "tst_resourceguard.moc"
