// SPDX-License-Identifier: MIT
#include <host/policy/evidence.h>

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Answer = Evidence::Answer;
using Answers = QList<Answer>;
using Doubt = Evidence::Doubt;

const QUrl kAddress(u"http://one.example/f"_s);
const QUrl kOther(u"http://two.example/f"_s);

Answer answer(const QByteArray &etag, qint64 total = 10, const QUrl &address = kAddress)
{
    Answer answer{address, {}, true};
    answer.identity.total = total;
    if (etag.startsWith("W/"))
        answer.identity.weakEtag = etag.sliced(2);
    else
        answer.identity.etag = etag;
    return answer;
}

Answer untilTheEnd(const QByteArray &etag)
{
    Answer result = answer(etag, -1);
    result.isEndKnown = false;
    return result;
}

Answer dated()
{
    Answer result = answer({});
    result.identity.lastModified = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    return result;
}

Evidence of(const Answers &answers)
{
    Evidence evidence;
    for (const Answer &one : answers)
        evidence.add(one);
    return evidence;
}

}

/// How sure it is that a file is the one that the server has, and why no surer.
class TestEvidence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersProveAFileOrDoNot_data();
    void answersProveAFileOrDoNot();
    void aDigestProvesWhatAnswersDoNot();
    void whatFollowsADoubtDoesNotLiftIt();
    void oldBytesStayUnproven();
    void eachAssuranceHasItsKey();
};

void TestEvidence::answersProveAFileOrDoNot_data()
{
    QTest::addColumn<Answers>("answers");
    QTest::addColumn<Doubt>("doubt");
    const QByteArray a = "\"a\"";
    const QByteArray weak = "W/\"a\"";
    QTest::newRow("one of known length") << Answers{answer({})} << Doubt::None;
    QTest::newRow("one with a strong ETag") << Answers{answer(a)} << Doubt::None;
    QTest::newRow("one with a weak ETag") << Answers{answer(weak)} << Doubt::None;
    QTest::newRow("one in chunks") << Answers{answer({}, -1)} << Doubt::None;
    QTest::newRow("one until the connection ends") << Answers{untilTheEnd({})} << Doubt::NoLength;
    QTest::newRow("one until the connection ends, with an ETag") << Answers{untilTheEnd(a)} << Doubt::NoLength;
    QTest::newRow("several with one strong ETag") << Answers{answer(a), answer(a), answer(a)} << Doubt::None;
    QTest::newRow("several with one strong ETag, the first without an end")
        << Answers{untilTheEnd(a), answer(a)} << Doubt::None;
    QTest::newRow("several with one strong ETag, the last without an end")
        << Answers{answer(a), untilTheEnd(a)} << Doubt::None;
    QTest::newRow("several with one strong ETag, all without an end")
        << Answers{untilTheEnd(a), untilTheEnd(a)} << Doubt::NoLength;
    QTest::newRow("several with a weak ETag") << Answers{answer(weak), answer(weak)} << Doubt::WeakValidator;
    QTest::newRow("several with a date") << Answers{dated(), dated()} << Doubt::WeakValidator;
    QTest::newRow("an ETag that vanished") << Answers{answer(a), answer({})} << Doubt::ValidatorVanished;
    QTest::newRow("an ETag that became weak") << Answers{answer(a), answer(weak)} << Doubt::ValidatorVanished;
    QTest::newRow("an ETag that appeared") << Answers{answer({}), answer(a)} << Doubt::ValidatorVanished;
    QTest::newRow("one of three without") << Answers{answer(a), answer(a), answer({})} << Doubt::ValidatorVanished;
    QTest::newRow("nothing that identifies them") << Answers{answer({}), answer({})} << Doubt::NothingIdentifies;
    QTest::newRow("two addresses") << Answers{answer(a), answer(a, 10, kOther)} << Doubt::SeveralAddresses;
}

void TestEvidence::answersProveAFileOrDoNot()
{
    QFETCH(Answers, answers);
    QFETCH(Doubt, doubt);
    const Evidence evidence = of(answers);
    QCOMPARE(evidence.reason(), doubt);
    QCOMPARE(evidence.assurance(false), doubt == Doubt::None ? Assurance::Consistent : Assurance::Unproven);
}

void TestEvidence::aDigestProvesWhatAnswersDoNot()
{
    QCOMPARE(of({answer({}), answer({})}).assurance(true), Assurance::Verified);
}

void TestEvidence::whatFollowsADoubtDoesNotLiftIt()
{
    const QByteArray a = "\"a\"";
    QCOMPARE(of({answer(a), answer({}), answer(a), answer(a)}).reason(), Doubt::ValidatorVanished);
    QCOMPARE(of({answer(a), answer(a, 10, kOther), answer({})}).reason(), Doubt::SeveralAddresses);
}

/// Their first answer may have had a validator; what the others had, nobody knows.
void TestEvidence::oldBytesStayUnproven()
{
    Evidence evidence = Evidence::ofOldBytes();
    evidence.add(answer("\"a\""));
    QCOMPARE(evidence.reason(), Doubt::Unknown);
}

void TestEvidence::eachAssuranceHasItsKey()
{
    QCOMPARE(keyOf(Assurance::Unproven), u"unproven"_s);
    QCOMPARE(keyOf(Assurance::Consistent), u"consistent"_s);
    QCOMPARE(keyOf(Assurance::Verified), u"verified"_s);
}

QTEST_GUILESS_MAIN(TestEvidence)

#include "tst_evidence.moc"
