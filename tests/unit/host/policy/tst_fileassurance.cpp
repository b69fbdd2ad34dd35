// SPDX-License-Identifier: MIT
#include <host/policy/fileassurance.h>

#include <QTest>

using namespace Qt::StringLiterals;

using Given = std::optional<ChecksumResult>;
Q_DECLARE_METATYPE(Given)

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
    QTest::addColumn<QString>("reason");
    using D = Evidence::Doubt;
    using C = ChecksumResult;
    const QString weak = u"its parts have only a weak validator in common"_s;
    const auto none = Given();
    Evidence endless = evidenceOf(1, D::None);
    endless.isEndKnown = false;
    QTest::newRow("nobody kept anything") << Evidence() << none << QString() << QString();
    QTest::newRow("one answer") << evidenceOf(1, D::None) << none << u"consistent"_s << QString();
    QTest::newRow("one answer without a length")
        << endless << none << u"unproven"_s << u"the server did not say how long the file is"_s;
    QTest::newRow("a doubt") << evidenceOf(2, D::WeakValidator) << none << u"unproven"_s << weak;
    QTest::newRow("finished early, and no answer was kept")
        << evidenceOf(0, D::FinishedEarly) << none << u"unproven"_s << u"it was finished with what was there"_s;
    QTest::newRow("a right checksum ends every doubt")
        << evidenceOf(2, D::WeakValidator) << Given(C::Equal) << u"verified"_s << QString();
    QTest::newRow("a right checksum of what nobody kept anything of")
        << Evidence() << Given(C::Equal) << u"verified"_s << QString();
    QTest::newRow("a wrong checksum is no question of how sure it is")
        << evidenceOf(1, D::None) << Given(C::Different) << QString() << QString();
    QTest::newRow("not compared with its checksum yet")
        << evidenceOf(1, D::None) << Given(C::NotCompared) << u"consistent"_s << QString();
    QTest::newRow("the server's digest is right")
        << evidenceOf(2, D::WeakValidator, C::Equal) << none << u"verified"_s << QString();
    QTest::newRow("the server's digest is another")
        << evidenceOf(1, D::None, C::Different) << none << QString() << QString();
    QTest::newRow("a person's checksum counts more than the server's digest")
        << evidenceOf(1, D::None, C::Different) << Given(C::Equal) << u"verified"_s << QString();
    QTest::newRow("and when it is wrong, too")
        << evidenceOf(1, D::None, C::Equal) << Given(C::Different) << QString() << QString();
}

void TestFileAssurance::howSureAFileIs()
{
    QFETCH(Evidence, evidence);
    QFETCH(Given, checksum);
    QFETCH(QString, key);
    QFETCH(QString, reason);
    const FileAssurance assurance = FileAssurance::of(evidence, checksum);
    QCOMPARE(assurance.key(), key);
    QCOMPARE(assurance.reason(), reason);
    QCOMPARE(assurance.note(), reason.isEmpty() ? QString() : u"unproven: "_s + reason);
}

QTEST_GUILESS_MAIN(TestFileAssurance)
#include "tst_fileassurance.moc"
