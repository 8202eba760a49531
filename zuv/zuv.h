// The whole public interface of Zuv in one include.
#pragma once

#include "zuv/export.h"
#include "zuv/files/file_handle.h"
#include "zuv/files/thread.h"
#include "zuv/files/volume.h"
#include "zuv/paths/file_path.h"
#include "zuv/paths/file_type.h"
#include "zuv/paths/path_utility.h"
#include "zuv/platform/catalog_types.h"
#include "zuv/platform/text.h"
#include "zuv/records/geometry.h"
#include "zuv/records/metadata.h"
#include "zuv/strings/string_data.h"
#include "zuv/strings/string_ops.h"
#include "zuv/strings/utf8_utility.h"
#include "zuv/time/time.h"
#include "zuv/transfer/result.h"
