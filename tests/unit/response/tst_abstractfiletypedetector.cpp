// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/abstractfiletypedetector.h>

#include <QTest>

#include <type_traits>

using namespace Qt::StringLiterals;

// Without state, every instance answers alike, from any thread.
static_assert(std::is_empty_v<AbstractFileTypeDetector>);

namespace
{

constexpr int kUnknown = 0;
constexpr int kAudio = 1;
constexpr int kVideo = 2;
constexpr int kPicture = 3;
constexpr int kDocument = 4;

void addExtensions(const QByteArray &extensions, int type, const char *sentence)
{
    const QByteArrayList list = extensions.split(' ');
    for (const QByteArray &extension : list) {
        const QString fileName = u"name."_s + QString::fromLatin1(extension);
        QTest::addRow("%s %s", extension.constData(), sentence) << fileName << type;
    }
}

} // namespace

class TestAbstractFileTypeDetector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void knownExtension_data();
    void knownExtension();
    void name_data();
    void name();
    void valuesAreThoseStoredInRecords();
};

void TestAbstractFileTypeDetector::knownExtension_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<int>("type");

    addExtensions("avi mov mkv flv vob ogv drc qt wmv yuv rmvb asf mp4 m4v mpg mpg2 mpeg mpe mpv m2v svi 3g2 mxf roq "
                  "nsv f4v f4p f4a f4b ts",
                  kVideo, "is video");
    addExtensions("webm 3gp m4p ogg rm", kVideo, "may be either and counts as video");
    addExtensions("mp3 aa aac aax act aiff amr ape au awb dct dss dvf flac gsm iklax ivs m4a m4b mmf mpc msv oga opus "
                  "ra raw sln tta vox wav wma wv",
                  kAudio, "is audio");
    addExtensions("doc docm docx dotx dotm docb xls xlt xlm xlsx xlsm xltx xltm xlsb xla xlam xlw ppt pot pps pptx "
                  "pptm potx potm ppam ppsx ppsm sldx sldm accdb accde accdt accdr odt ods odp uot hwp odm sxg sxc "
                  "wb2 uof csv txt odf sxm ots rtf pdf",
                  kDocument, "is a document");
    addExtensions("tif tiff gif jpeg jpg jif jfif jp2 jpx j2k j2c fpx pcd png ico bmp", kPicture, "is a picture");
}

void TestAbstractFileTypeDetector::knownExtension()
{
    QFETCH(QString, fileName);
    QFETCH(int, type);
    const AbstractFileTypeDetector detector;
    QCOMPARE(detector.typeFromFileName(fileName), type);
    QCOMPARE(detector.typeFromFileName(fileName.toUpper()), type);
    QCOMPARE(detector.typeFromFileName(fileName + u'_'), kUnknown);
}

void TestAbstractFileTypeDetector::name_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<int>("type");

    QTest::newRow("an upper-case extension is recognised") << u"Movie.MKV"_s << kVideo;
    QTest::newRow("a mixed-case extension in two sets is video") << u"song.Ogg"_s << kVideo;
    QTest::newRow("an extension of the audio set alone is audio") << u"track.oga"_s << kAudio;
    QTest::newRow("only the last extension counts") << u"archive.tar.gz"_s << kUnknown;
    QTest::newRow("a known extension before an unknown last one is not seen") << u"movie.mkv.part"_s << kUnknown;
    QTest::newRow("a name that ends with a dot has no kind") << u"noextension."_s << kUnknown;
    QTest::newRow("a known extension with a dot behind it has no kind") << u"movie.mkv."_s << kUnknown;
    QTest::newRow("an empty name has no kind") << QString() << kUnknown;
    QTest::newRow("a lone dot has no kind") << u"."_s << kUnknown;
    QTest::newRow("two dots have no kind") << u".."_s << kUnknown;
    QTest::newRow("a picture") << u"photo.jpeg"_s << kPicture;
    QTest::newRow("a document in capitals") << u"report.PDF"_s << kDocument;
    QTest::newRow("a name without a dot is its own extension") << u"txt"_s << kDocument;
    QTest::newRow("a name without a dot that is no extension has no kind") << u"README"_s << kUnknown;
    QTest::newRow("a hidden file named as an extension has its kind") << u".png"_s << kPicture;
    QTest::newRow("white space behind the extension is part of it") << u"a.mp3 "_s << kUnknown;
    QTest::newRow("a Kelvin sign is no k") << u"a.m\u212Av"_s << kUnknown;
    QTest::newRow("a letter beyond ASCII is no extension") << u"a.\u00E9"_s << kUnknown;
    QTest::newRow("a zero inside the extension hides it") << QString(u"a.mp3"_s + QChar(u'\0')) << kUnknown;
    QTest::newRow("half a surrogate pair is no extension") << QString(u"a."_s + QChar(0xD800)) << kUnknown;
    QTest::newRow("a very long extension is unknown") << QString(u"a."_s + QString(100000, u'm')) << kUnknown;
    QTest::newRow("a very long name keeps its extension") << QString(QString(100000, u'.') + u"mp3"_s) << kAudio;
}

void TestAbstractFileTypeDetector::name()
{
    QFETCH(QString, fileName);
    QFETCH(int, type);
    QCOMPARE(AbstractFileTypeDetector().typeFromFileName(fileName), type);
}

void TestAbstractFileTypeDetector::valuesAreThoseStoredInRecords()
{
    QCOMPARE(int(AbstractFileTypeDetector::kUnknownFile), kUnknown);
    QCOMPARE(int(AbstractFileTypeDetector::kAudioFile), kAudio);
    QCOMPARE(int(AbstractFileTypeDetector::kVideoFile), kVideo);
    QCOMPARE(int(AbstractFileTypeDetector::kPictureFile), kPicture);
    QCOMPARE(int(AbstractFileTypeDetector::kDocumentFile), kDocument);
}

QTEST_GUILESS_MAIN(TestAbstractFileTypeDetector)
#include "tst_abstractfiletypedetector.moc"
