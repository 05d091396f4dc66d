# Writes the byte size of the compiled catalog as a C constant, so that the
# kit can copy the embedded data out of the library (see cfimessagecatalog.cpp).
# Usage: cmake -DDAT=<file.dat> -DSYMBOL=<name> -DOUT=<file.c> -P datsize.cmake
file(SIZE "${DAT}" _size)
file(WRITE "${OUT}.tmp" "/* Generated from ${DAT}. */\nconst unsigned long ${SYMBOL} = ${_size}UL;\n")
file(RENAME "${OUT}.tmp" "${OUT}")
