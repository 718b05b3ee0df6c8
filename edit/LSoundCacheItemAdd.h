#pragma once
// Importing a source into the cache.
#include "base/LProcessInterface.h"
#include "edit/LSoundCacheItemHandle.h"
#include "stream/LSoundSource.h"

#include <string>

// Copies the whole source into the item of the handle (.aud, .grf, .audinfo)
// through the copy job. Checks first that the cache's volume has room for the
// float frames and 100 MiB more; if not, reports "Unzureichender
// Festplattenspeicher ..." and fails without writing anything. `length`
// receives the frames written.
LProcessResult LSoundCacheItemAdd(LProcessInterface& process, LSoundSource source, const LSoundCacheItemHandle& handle,
                                  long long& length);

// Imports a file's decoded source as a new item and records the file's path,
// modification time and size in it, so that reopening the unchanged file can
// use the item again. On LProcessOK *item holds one reference owned by the
// caller and *length the item's frames; otherwise the item is gone and *item
// is kSoundCacheItemNone. `keep` is passed through from the opener.
LProcessResult LSoundCacheImport(LProcessInterface& process, const std::string& path, LSoundSource source, bool keep,
                                 uint16_t* item, long long* length);
