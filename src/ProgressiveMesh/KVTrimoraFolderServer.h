// KVTrimoraFolderServer: the plug-in's temporary folder and the names formed in it.
#pragma once

#include "KVString.h"

class KVTrimoraFolderServer {
public:
    // Keeps a copy without its one trailing separator, if any.
    static void setTemporaryFolder(const KVString& folder);
    static const KVString& getTemporaryFolder();
    // folder + "/" + name, or the bare name before a folder is set. Does not look at the disk.
    static KVString getTemporaryFileName(const KVString& name);
    // The first name of the series name, name1, name2... that names no existing file.
    static KVString buildUniqueTemporaryFileName(const KVString& name);

private:
    static KVString s_temporaryFolder;
};
