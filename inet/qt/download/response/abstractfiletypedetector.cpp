// SPDX-License-Identifier: MIT
#include <inet/qt/download/response/abstractfiletypedetector.h>

#include <QByteArray>
#include <QList>
#include <QSet>

#include <utility>

namespace
{

using ExtensionSet = QSet<QByteArray>;
using TypeTable = QList<std::pair<int, ExtensionSet>>;

ExtensionSet videoExtensions()
{
    return {"avi", "mov",  "webm", "mkv", "flv", "vob", "ogv", "ogg",  "drc",  "qt",  "wmv", "yuv",
            "rm",  "rmvb", "asf",  "mp4", "m4p", "m4v", "mpg", "mpg2", "mpeg", "mpe", "mpv", "m2v",
            "svi", "3gp",  "3g2",  "mxf", "roq", "nsv", "f4v", "f4p",  "f4a",  "f4b", "ts"};
}

ExtensionSet audioExtensions()
{
    return {"mp3",  "3gp",  "aa",  "aac",   "aax", "act", "aiff", "amr", "ape", "au",  "awb", "dct", "dss",
            "dvf",  "flac", "gsm", "iklax", "ivs", "m4a", "m4b",  "m4p", "mmf", "mpc", "msv", "ogg", "oga",
            "opus", "ra",   "rm",  "raw",   "sln", "tta", "vox",  "wav", "wma", "wv",  "webm"};
}

ExtensionSet documentExtensions()
{
    return {"doc",  "docm", "docx", "dotx",  "dotm",  "docb",  "xls",   "xlt",  "xlm",  "xlsx", "xlsm", "xltx", "xltm",
            "xlsb", "xla",  "xlam", "xlw",   "ppt",   "pot",   "pps",   "pptx", "pptm", "potx", "potm", "ppam", "ppsx",
            "ppsm", "sldx", "sldm", "accdb", "accde", "accdt", "accdr", "odt",  "ods",  "odp",  "uot",  "hwp",  "odm",
            "sxg",  "sxc",  "wb2",  "uof",   "csv",   "txt",   "odf",   "sxm",  "ots",  "rtf",  "pdf"};
}

ExtensionSet pictureExtensions()
{
    return {"tif", "tiff", "gif", "jpeg", "jpg", "jif", "jfif", "jp2",
            "jpx", "j2k",  "j2c", "fpx",  "pcd", "png", "ico",  "bmp"};
}

/// Searched in order. Some containers carry either sound or pictures ("ogg", "webm", "3gp", ...); they stand in two
/// sets and count as video because that set comes first.
const TypeTable &typeTable()
{
    static const TypeTable table = {
        {AbstractFileTypeDetector::kVideoFile, videoExtensions()},
        {AbstractFileTypeDetector::kAudioFile, audioExtensions()},
        {AbstractFileTypeDetector::kDocumentFile, documentExtensions()},
        {AbstractFileTypeDetector::kPictureFile, pictureExtensions()},
    };
    return table;
}

} // namespace

int AbstractFileTypeDetector::typeFromFileName(const QString &fileName) const
{
    // QByteArray::toLower changes ASCII letters only: the sets hold nothing else.
    const QByteArray extension = fileName.section(u'.', -1, -1).toUtf8().toLower();
    if (extension.isEmpty())
        return kUnknownFile;

    for (const auto &[type, extensions] : typeTable()) {
        if (extensions.contains(extension))
            return type;
    }
    return kUnknownFile;
}
