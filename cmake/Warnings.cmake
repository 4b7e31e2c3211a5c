# Warnings are errors on our own sources; what comes from outside is included as system headers.

function(kalim_set_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    # Where a product and a sum are fused must be written down, not chosen by the compiler:
    # otherwise two builds differ in the last bit.
    -ffp-contract=off)
endfunction()
