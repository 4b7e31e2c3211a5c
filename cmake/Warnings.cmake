# Warnings are errors on our own sources; what comes from outside is included as system headers.
# With sanitizers g++ warns of what it has put in itself, which stays a warning.

function(kalim_set_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow
    $<$<NOT:$<BOOL:${KALIM_SANITIZE}>>:-Werror>
    # Where a product and a sum are fused must be written down, not chosen by the compiler:
    # otherwise two builds differ in the last bit.
    -ffp-contract=off)
endfunction()
