# Warnings are errors on our own code only; third-party headers come in as SYSTEM includes.
function(hitachifi_target_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()
