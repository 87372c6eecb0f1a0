// ExportAllUtils: the registry of declared mesh files, their textures and the texture settings.
#pragma once

#include "KVArray.h"
#include "KVString.h"

// Declared-mesh lists. The four lists are parallel: entry i of each describes the i-th file
// declared since the last startDeclare(). Only addKelFile() appends (to all four at once) and
// only startDeclare() empties them.
extern KVArray<KVString> m_KelFileNames;        // mesh file paths, as passed (may be null)
extern KVArray<KVString> m_textureFileNames;    // texture per mesh; empty = none
extern KVArray<unsigned char> m_KelFileVisibility;  // 1 visible, 0 hidden
extern KVArray<KVString> m_KelFileOutput;       // output file per mesh; empty = none
extern KVString m_currentKelFileName;           // the mesh the host works on; may be null

// Texture settings applied when a texture is declared; they outlive declaration passes.
extern KVString s_textureExt;  // wanted extension, without dot; "bmp" by default
extern int s_textureQuality;   // quality handed to the converter; 100 by default

// Accessors for the readers of the registry (the OBJ export).
KVArray<KVString>& getDeclaredKelFileNames();
KVArray<KVString>& getDeclaredTextureFileNames();
KVArray<unsigned char>& getDeclaredKelFileVisibility();
KVArray<KVString>& getDeclaredKelFileOutput();
KVString& getDeclaredCurrentKelFileName();

// The registry's operations; the commands only decode their arguments and call these.
class ExportAllUtils {
public:
    // Clears the current file name (it becomes null) and empties the four lists.
    static void startDeclare();
    // Appends path (null gives a null entry), no texture, visible, no output.
    static void addKelFile(const char* path);
    // Sets the last texture and converts it when its extension is not s_textureExt (see
    // convertedTextureName); on success the source file is deleted and the entry names the
    // converted file. Nothing when no file is declared. True when the entry was set.
    static bool setTextureForLast(const char* texture);
    // Nothing when no file is declared; true when an entry was changed.
    static bool declareLastInvisible();
    static bool declareLastOutput(const char* outputPath);  // stored in its valid-file-path form
    static void setCurrentKelFile(const char* path);
    // Deletes every declared file, in order; the names stay.
    static void deleteDeclaredFiles();

    static void setTextureExt(const char* ext);
    static void setTextureQuality(int quality);

    // The part of name after its last '.', or the whole name without a dot.
    static KVString textureExtension(const KVString& name);
    // name cut just after its last '.', then ext; a name without a dot gives ext alone.
    static KVString convertedTextureName(const KVString& name, const KVString& ext);
};
