# Filters, the choice widget and the panel's optional extensions.
glfd_add_test(glfd_extensions_test file_filter_test.cpp extensions_test.cpp)
