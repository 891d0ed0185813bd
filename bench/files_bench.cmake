# The CRC is measured beside a well-known library's.
find_package(ZLIB REQUIRED)
zem_bench(files_bench files_bench.cc zem_e2e_harness zem_files Nettle::nettle ZLIB::ZLIB)
