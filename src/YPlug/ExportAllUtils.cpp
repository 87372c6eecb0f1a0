// ExportAllUtils: declared mesh files, their marks and textures, and the texture conversion.
#include "YPlug/ExportAllUtils.h"

#include "native/KVDiskServer.h"
#include "qtutils/QtImageServer.h"

KVArray<KVString> m_KelFileNames;
KVArray<KVString> m_textureFileNames;
KVArray<unsigned char> m_KelFileVisibility;
KVArray<KVString> m_KelFileOutput;
KVString m_currentKelFileName;

KVString s_textureExt("bmp");
int s_textureQuality = 100;

KVArray<KVString>& getDeclaredKelFileNames() { return m_KelFileNames; }
KVArray<KVString>& getDeclaredTextureFileNames() { return m_textureFileNames; }
KVArray<unsigned char>& getDeclaredKelFileVisibility() { return m_KelFileVisibility; }
KVArray<KVString>& getDeclaredKelFileOutput() { return m_KelFileOutput; }
KVString& getDeclaredCurrentKelFileName() { return m_currentKelFileName; }

void ExportAllUtils::startDeclare() {
    m_currentKelFileName = KVString();
    m_KelFileNames.clear();
    m_textureFileNames.clear();
    m_KelFileVisibility.clear();
    m_KelFileOutput.clear();
}

void ExportAllUtils::addKelFile(const char* path) {
    m_KelFileNames.add(KVString(path));
    m_textureFileNames.add(KVString());
    m_KelFileVisibility.add(1);
    m_KelFileOutput.add(KVString());
}

KVString ExportAllUtils::textureExtension(const KVString& name) {
    const int dot = name.findLastCharOf(".");
    return dot < 0 ? name : name.subString(dot + 1);
}

KVString ExportAllUtils::convertedTextureName(const KVString& name, const KVString& ext) {
    const int dot = name.findLastCharOf(".");
    // Without a dot nothing of the name is kept: the result is the bare extension.
    KVString converted = dot < 0 ? KVString() : name.subString(0, dot + 1);
    converted += ext;
    return converted;
}

bool ExportAllUtils::setTextureForLast(const char* texture) {
    // With nothing declared there is no last entry to set, and so nothing to convert for.
    if (m_textureFileNames.isEmpty()) return false;
    const KVString given(texture);
    m_textureFileNames.getLast() = given;
    if (KVString::cmpNoCase(textureExtension(given).c_str(), s_textureExt.c_str()) == 0) return true;

    const KVString converted = convertedTextureName(given, s_textureExt);
    if (QtImageServer::convertImage(given.getBuffer(), converted.getBuffer(), s_textureQuality)) {
        KVDiskServer::deleteFile(given);
        m_textureFileNames.getLast() = converted;
    }
    return true;
}

bool ExportAllUtils::declareLastInvisible() {
    if (m_KelFileVisibility.isEmpty()) return false;
    m_KelFileVisibility.getLast() = 0;
    return true;
}

bool ExportAllUtils::declareLastOutput(const char* outputPath) {
    if (m_KelFileOutput.isEmpty()) return false;
    const KVString given(outputPath);
    m_KelFileOutput.getLast() = given.getValidFilePath();
    return true;
}

void ExportAllUtils::setCurrentKelFile(const char* path) { m_currentKelFileName = path; }

void ExportAllUtils::deleteDeclaredFiles() {
    for (const KVString& name : m_KelFileNames) KVDiskServer::deleteFile(name);
}

void ExportAllUtils::setTextureExt(const char* ext) { s_textureExt = ext; }

void ExportAllUtils::setTextureQuality(int quality) { s_textureQuality = quality; }
