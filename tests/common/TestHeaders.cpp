// The headers that all tests precompile belong to a library, and a library needs a source.
