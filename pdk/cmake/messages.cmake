# Errors and messages: the error manager, ICU messages and the message
# catalog. The catalog (messages/root.txt) is compiled with genrb, packaged
# as ICU common data and embedded in the library, so the plugin needs no
# installed data files. At first use the kit copies the data to memory that
# lives as long as the process, because ICU keeps the registration (and its
# cached bundles) after the plugin library is unloaded.
find_program(ICU_PKGDATA pkgdata REQUIRED)
find_program(ICU_GENCCODE genccode REQUIRED)
set(_msg_dir ${CMAKE_CURRENT_BINARY_DIR}/messages)
set(_msg_c ${_msg_dir}/hitachifimsg_dat.c)
set(_msg_size_c ${_msg_dir}/hitachifimsg_size.c)
add_custom_command(
  OUTPUT ${_msg_c} ${_msg_size_c}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${_msg_dir}
  COMMAND ${ICU_GENRB} -q -d ${_msg_dir} ${CMAKE_CURRENT_SOURCE_DIR}/messages/root.txt
  COMMAND ${CMAKE_COMMAND} -E echo root.res > ${_msg_dir}/list.txt
  COMMAND ${ICU_PKGDATA} -q -m common -p hitachifimsg -d ${_msg_dir} -s ${_msg_dir} ${_msg_dir}/list.txt
  COMMAND ${ICU_GENCCODE} -q -d ${_msg_dir} -n hitachifimsg ${_msg_dir}/hitachifimsg.dat
  COMMAND ${CMAKE_COMMAND} -DDAT=${_msg_dir}/hitachifimsg.dat -DSYMBOL=hitachifimsg_dat_size
          -DOUT=${_msg_size_c} -P ${CMAKE_CURRENT_SOURCE_DIR}/messages/datsize.cmake
  DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/messages/root.txt ${CMAKE_CURRENT_SOURCE_DIR}/messages/datsize.cmake
  COMMENT "Compiling the message catalog"
  VERBATIM)
set_source_files_properties(${_msg_c} ${_msg_size_c} PROPERTIES GENERATED TRUE COMPILE_OPTIONS "-w")
pdk_add_family(pdk_messages
  src/cfierror.cpp
  src/cfimessage.cpp
  src/cfimessagecatalog.cpp
  src/cfierrormanager.cpp
  ${_msg_c}
  ${_msg_size_c})
