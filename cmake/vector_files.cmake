# The wider forms of the pixel code: a file named *_avx2.cpp or *_avx512.cpp
# is built for that target alone and only called where the CPU has it.
# Without FMA, so a multiply and an add stay two roundings.
#
#   ml_vector_file_options(ROOT AVX2_OPTIONS AVX512_OPTIONS)
#
# ROOT is the source tree; the option lists are ;-separated.
function(ml_vector_file_options root avx2 avx512)
  file(GLOB _avx2 CONFIGURE_DEPENDS ${root}/*/*_avx2.cpp)
  file(GLOB _avx512 CONFIGURE_DEPENDS ${root}/*/*_avx512.cpp)
  set_property(SOURCE ${_avx2} APPEND PROPERTY COMPILE_OPTIONS ${avx2})
  set_property(SOURCE ${_avx512} APPEND PROPERTY COMPILE_OPTIONS ${avx512})
endfunction()
