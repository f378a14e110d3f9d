glfd_add_test(glfd_smoke_test smoke_test.cpp)
