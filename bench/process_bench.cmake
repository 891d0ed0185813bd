zem_bench(process_bench process_bench.cc zem_e2e_harness zem_system_base Threads::Threads)
