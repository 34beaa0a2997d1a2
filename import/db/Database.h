#pragma once
// The importers' one way into the media database: sessions, files, units, token streams,
// checksums, icon bitmaps and add-ons. Nothing in import/ includes the engine otherwise.

#include "db/FileState.h"
#include "db/NDBConstants.h"
#include "db/NDBFile.h"
#include "db/NNMHAddons.h"
#include "db/NOFChecksum.h"
#include "db/NPBM.h"
#include "db/NoxDbI.h"
#include "db/Token.h"
#include "db/Uuid.h"
#include "util/tagSIZE.h"
