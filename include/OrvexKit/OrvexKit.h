// SPDX-License-Identifier: MIT

/// \file
/// All of OrvexKit. No function needs more than 40 KiB of stack, not counting the host's callbacks.
///
/// \defgroup records Records
/// What an application and its worker processes exchange. The library stores, copies and codes
/// records and never acts on them. Lists and dictionaries are shared with their owners, not copied.
///
/// \defgroup coding Coding
/// The form in which records go from process to process: the interface of coders, the library's own
/// coder over CBOR (OXCBORCoder.h describes the form), and streams of records (OXCBORSequence.h).
///
/// \defgroup types Types
/// Strings, dates, objects and release scopes, which the rest of the interface is written in.

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
