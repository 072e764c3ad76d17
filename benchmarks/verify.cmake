find_package(OpenSSL 3 REQUIRED COMPONENTS Crypto)
pellam_program(verify_benchmark SOURCES verify_benchmark.cpp LINKS PellamCodeSigning PellamPlatformSystem OpenSSL::Crypto)
