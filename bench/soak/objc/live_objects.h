#pragma once

#include "foundation/objc/handles.h"

/// Foundation counts the objects of each class from now on.
FOUNDATION_C void soak_watchObjects(void);
/// Remembers how many objects of each class are alive.
FOUNDATION_C void soak_rememberObjects(void);
/// How many more objects are alive than were remembered, of the class with the most, and its name.
FOUNDATION_C int soak_mostNewObjects(const char **className);
/// The catalogue has texts that are no URL, which the system's log names each time: from now on it does not.
FOUNDATION_C void soak_discardURLWarnings(void);
