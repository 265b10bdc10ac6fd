// A program that is linked in the wrong order. It ends before main.

#include "platform/reference.h"

int main() { const platform::AutoreleasePool pool; }
