// SPDX-License-Identifier: MIT
#include <host/policy/trouble.h>

#include <QNetworkReply>
#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(Trouble::Kind)

class TestTrouble : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theKindFollowsFromErrorAndRecord_data();
    void theKindFollowsFromErrorAndRecord();
    void policiesHaveWords();
};

namespace
{

constexpr qint64 kSize = 1000;

AbstractDownloadPersistentInfo recordOf(qint64 size, qint64 downloaded)
{
    AbstractDownloadFileInfo file;
    file.size = size;
    file.sections = {{0, size, downloaded}};
    AbstractDownloadPersistentInfo info;
    info.files = {file};
    return info;
}

}

void TestTrouble::theKindFollowsFromErrorAndRecord_data()
{
    QTest::addColumn<AbstractError>("error");
    QTest::addColumn<AbstractDownloadPersistentInfo>("info");
    QTest::addColumn<Trouble::Kind>("kind");
    const auto download = [](DownloadErrorCode code) {
        return AbstractError(int(code), ErrorCategory::kDownload, "here", "");
    };
    const auto http = [](int status) { return AbstractError(status, ErrorCategory::kHttp, "here", ""); };
    const AbstractDownloadPersistentInfo half = recordOf(kSize, kSize / 2);
    QTest::newRow("the module says that it has changed")
        << download(DownloadErrorCode::ResourceChanged) << half << Trouble::Kind::Changed;
    QTest::newRow("the module says that it does not go on")
        << download(DownloadErrorCode::ResumeNotSupported) << half << Trouble::Kind::Unresumable;
    QTest::newRow("nothing behind what is there, and the size was never known")
        << http(416) << recordOf(-1, 500) << Trouble::Kind::Unresumable;
    QTest::newRow("nothing behind what is there, though the file was longer")
        << http(416) << half << Trouble::Kind::Changed;
    QTest::newRow("416 before a byte has come") << http(416) << recordOf(kSize, 0) << Trouble::Kind::None;
    QTest::newRow("416 without a file") << http(416) << AbstractDownloadPersistentInfo() << Trouble::Kind::None;
    QTest::newRow("another status") << http(404) << half << Trouble::Kind::None;
    QTest::newRow("416 of another family")
        << AbstractError(416, ErrorCategory::kNetwork, "here", "") << half << Trouble::Kind::None;
    QTest::newRow("no error") << AbstractError() << half << Trouble::Kind::None;
}

void TestTrouble::theKindFollowsFromErrorAndRecord()
{
    QFETCH(AbstractError, error);
    QFETCH(AbstractDownloadPersistentInfo, info);
    QTEST(Trouble::kindOf(error, info), "kind");
}

void TestTrouble::policiesHaveWords()
{
    QCOMPARE(Trouble::policyFromText(u"ask"_s), Trouble::Policy::Ask);
    QCOMPARE(Trouble::policyFromText(u"restart"_s), Trouble::Policy::Restart);
    QCOMPARE(Trouble::policyFromText(u"fail"_s), Trouble::Policy::Fail);
    QVERIFY(!Trouble::policyFromText(u"Fail"_s));
    QVERIFY(!Trouble::policyFromText({}));
}

QTEST_APPLESS_MAIN(TestTrouble)
#include "tst_trouble.moc"
