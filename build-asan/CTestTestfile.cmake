# CMake generated Testfile for 
# Source directory: /work/wt-mendhost
# Build directory: /work/wt-mendhost/build-asan
# 
# This file includes the relevant testing commands required for 
# testing this directory and lists subdirectories to be tested as well.
subdirs("src")
subdirs("apps/pellion")
subdirs("tests")
