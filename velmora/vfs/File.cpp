#include "velmora/vfs/File.h"

#include "velmora/logging/LibraryLoggers.h"
#include "velmora/logging/LogMacros.h"

VELMORA_LIBRARY_FILE_SCOPE_LOGGER(File)
