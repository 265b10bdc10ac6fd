#pragma once

#include "foundation/objc/handles.h"

// Foundation's values, taken apart and put together.

enum foundation_Kind {
  foundation_null,
  foundation_boolean,
  foundation_integer,
  foundation_unsigned,
  foundation_floating,
  foundation_string,
  foundation_data,
  foundation_array,
  foundation_dictionary,
  foundation_other
};

FOUNDATION_C enum foundation_Kind foundation_kindOf(id object);
FOUNDATION_C int64_t foundation_integerOf(id number);
FOUNDATION_C double foundation_floatingOf(id number);
/// UTF-8: in `room` if it is large enough, otherwise valid until the current pool is drained. What is no Unicode text
/// is replaced.
FOUNDATION_C const char *foundation_textOf(id string, char *room, size_t size, size_t *length);
FOUNDATION_C const void *foundation_bytesOf(id data, size_t *length);
FOUNDATION_C size_t foundation_countOf(id container);
/// Into room for foundation_countOf objects; return how many there are.
FOUNDATION_C size_t foundation_elementsOf(id array, id *elements, size_t room);
FOUNDATION_C size_t foundation_entriesOf(id dictionary, id *keys, id *values, size_t room);

// These return a reference that belongs to the caller; the containers take references of their own.
FOUNDATION_C id foundation_makeNull(void);
FOUNDATION_C id foundation_makeBoolean(bool value);
FOUNDATION_C id foundation_makeInteger(int64_t value);
FOUNDATION_C id foundation_makeUnsigned(uint64_t value);
FOUNDATION_C id foundation_makeFloating(double value);
FOUNDATION_C id foundation_makeString(const char *text, size_t length);
FOUNDATION_C id foundation_makeData(const void *bytes, size_t length);
FOUNDATION_C id foundation_makeArray(const id *elements, size_t count);
FOUNDATION_C id foundation_makeDictionary(const id *keys, const id *values, size_t count);
