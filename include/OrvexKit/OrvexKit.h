// All of OrvexKit in one include. No function needs more than 40 KiB of stack, apart from what it
// calls of the host's.

#pragma once

// IWYU pragma: begin_exports
#include <OrvexKit/OXArchiveSettings.h>
#include <OrvexKit/OXArchivedFile.h>
#include <OrvexKit/OXDeltaNode.h>
#include <OrvexKit/OXFileUtil.h>
#include <OrvexKit/OXFormatInfo.h>
#include <OrvexKit/OXScopedTempDir.h>
#include <OrvexKit/platform/OXAtomic.h>
#include <OrvexKit/platform/OXCBORCoder.h>
#include <OrvexKit/platform/OXCBORSequence.h>
#include <OrvexKit/platform/OXCoder.h>
#include <OrvexKit/platform/OXDate.h>
#include <OrvexKit/platform/OXExport.h>
#include <OrvexKit/platform/OXFileReference.h>
#include <OrvexKit/platform/OXObject.h>
#include <OrvexKit/platform/OXReleaseScope.h>
#include <OrvexKit/platform/OXString.h>
#include <OrvexKit/platform/OXValue.h>
// IWYU pragma: end_exports
