#pragma once

#include "foundation/objc/handles.h"

// The configuration and the keychain of this program's core library. Objects that are returned are autoreleased, null
// for what is absent. Any thread.

enum corelib_Text {
  corelib_domain,
  corelib_portalID,
  corelib_projectID,
  corelib_mapID,
  corelib_apID,
  corelib_appVersionID,
  corelib_frameworkID,
  corelib_deviceID,
  corelib_anonymousID,
  corelib_bearerToken,
  corelib_appGroup
};
enum corelib_Flag { corelib_isAnonymousUser, corelib_isAnonymousTrackingEnabled, corelib_isGzipEnabled };

/// Takes a configuration file and the keychain's folder into use. Returns null, or what is wrong with the file; then
/// what was in use before stays.
FOUNDATION_C id corelib_use(id configurationFile, id storageFolder);
/// The configuration file, null before the first one.
FOUNDATION_C id corelib_configurationFile(void);

FOUNDATION_C id corelib_text(enum corelib_Text text);
FOUNDATION_C bool corelib_flag(enum corelib_Flag flag);
FOUNDATION_C id corelib_appMeta(void);
/// Whether lines of the log with this tag are wanted.
FOUNDATION_C bool corelib_logs(id tag);

FOUNDATION_C id corelib_keychainData(id key);
/// Returns whether the data is stored.
FOUNDATION_C bool corelib_setKeychainData(id key, id data);

// These raise as Objective-C does for what cannot be signed.
FOUNDATION_C id corelib_signedPayload(id payload);
FOUNDATION_C id corelib_signedData(id data);
FOUNDATION_C id corelib_gzip(id data, float level);

/// Defined in Objective-C: receives a problem of the keychain's file.
FOUNDATION_C void corelib_keychainFailed(id problem);
