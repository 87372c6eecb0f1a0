# The fuzz targets: each fuzz/<name>_fuzzer.cpp has a seed corpus fuzz/corpus/<name>/, a dictionary
# fuzz/dict/<name>.dict and saved crashing inputs in fuzz/regressions/<name>/.
set(TRIMORA_FUZZ_TARGETS kel_read config progress cache_header)
if(EXISTS ${CMAKE_SOURCE_DIR}/fuzz/obj_export_fuzzer.cpp)
  list(APPEND TRIMORA_FUZZ_TARGETS obj_export)
endif()
set(TRIMORA_FUZZ_DIR ${CMAKE_SOURCE_DIR}/fuzz)
