// A libacl without any of its functions.
extern "C" int zorf_empty_library;
int zorf_empty_library = 0;
