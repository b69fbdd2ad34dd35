// SPDX-License-Identifier: MIT
#include <host/policy/fileassurance.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Given = std::optional<ChecksumResult>;
Q_DECLARE_METATYPE(Given)
Q_DECLARE_METATYPE(Evidence::Doubt)

class TestFileAssurance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void howSureAFileIs_data();
    void howSureAFileIs();
};

namespace
{

Evidence evidenceOf(int answers, Evidence::Doubt doubt, ChecksumResult digest = ChecksumResult::NotCompared)
{
    Evidence evidence;
    evidence.answers = answers;
    evidence.doubt = doubt;
    evidence.digest = digest;
    return evidence;
}

}

void TestFileAssurance::howSureAFileIs_data()
{
    QTest::addColumn<Evidence>("evidence");
    QTest::addColumn<Given>("checksum");
    QTest::addColumn<QString>("key"); // empty = nothing is said
    QTest::addColumn<Evidence::Doubt>("doubt");
    using D = Evidence::Doubt;
    using C = ChecksumResult;
    const auto none = Given();
    Evidence endless = evidenceOf(1, D::None);
    endless.isEndKnown = false;
    QTest::newRow("nobody kept anything") << Evidence() << none << QString() << D::None;
    QTest::newRow("one answer") << evidenceOf(1, D::None) << none << u"consistent"_s << D::None;
    QTest::newRow("one answer without a length") << endless << none << u"unproven"_s << D::NoLength;
    QTest::newRow("a doubt") << evidenceOf(2, D::WeakValidator) << none << u"unproven"_s << D::WeakValidator;
    QTest::newRow("finished early, and no answer was kept")
        << evidenceOf(0, D::FinishedEarly) << none << u"unproven"_s << D::FinishedEarly;
    QTest::newRow("a right checksum ends every doubt")
        << evidenceOf(2, D::WeakValidator) << Given(C::Equal) << u"verified"_s << D::None;
    QTest::newRow("a right checksum of what nobody kept anything of")
        << Evidence() << Given(C::Equal) << u"verified"_s << D::None;
    QTest::newRow("a wrong checksum is no question of how sure it is")
        << evidenceOf(1, D::None) << Given(C::Different) << QString() << D::None;
    QTest::newRow("not compared with its checksum yet")
        << evidenceOf(1, D::None) << Given(C::NotCompared) << u"consistent"_s << D::None;
    QTest::newRow("the server's digest is right")
        << evidenceOf(2, D::WeakValidator, C::Equal) << none << u"verified"_s << D::None;
    QTest::newRow("the server's digest is another")
        << evidenceOf(1, D::None, C::Different) << none << QString() << D::None;
    QTest::newRow("a person's checksum counts more than the server's digest")
        << evidenceOf(1, D::None, C::Different) << Given(C::Equal) << u"verified"_s << D::None;
    QTest::newRow("and when it is wrong, too")
        << evidenceOf(1, D::None, C::Equal) << Given(C::Different) << QString() << D::None;
}

void TestFileAssurance::howSureAFileIs()
{
    QFETCH(Evidence, evidence);
    QFETCH(Given, checksum);
    QFETCH(QString, key);
    const FileAssurance assurance = FileAssurance::of(evidence, checksum);
    QCOMPARE(assurance.key(), key);
    QTEST(assurance.doubt, "doubt");
}

QTEST_GUILESS_MAIN(TestFileAssurance)
#include "tst_fileassurance.moc"
