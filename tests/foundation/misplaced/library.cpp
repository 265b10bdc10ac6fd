// All of the backend as a shared library.
