// A target needs a source; cmake/precompiled.h is what it is for.
