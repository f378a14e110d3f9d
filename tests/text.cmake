# The toolkit's text helpers; the name rule is checked against Unicode's data where installed.
set(GLFD_UNICODE_DATA_DIR "/usr/share/unicode" CACHE PATH "Folder of the Unicode Character Database files")
glfd_add_test(glfd_text_test text_test.cpp)
target_compile_definitions(glfd_text_test PRIVATE GLFD_UNICODE_DATA_DIR="${GLFD_UNICODE_DATA_DIR}")
