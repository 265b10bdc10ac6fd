#pragma once

/// Marks what the module's shared library exports to the application; everything else in it is hidden.
#define PL_EXPORT [[gnu::visibility("default")]]
