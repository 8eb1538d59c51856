# Writes the system class registry at install time. The shipped libraries register
# themselves through the built shell's --register, the same code a user's registration
# runs, into a scratch file; their build paths are then replaced by the installed ones.
#
# In: NEXO_SHELL (the built shell), NEXO_MODULE and NEXO_REPORT_ENGINE (the built libraries,
# side by side), NEXO_INSTALLED (their installed folder), NEXO_OUTPUT (the file to write).
get_filename_component(built "${NEXO_MODULE}" DIRECTORY)
set(scratch "${NEXO_OUTPUT}.scratch")
file(REMOVE "${scratch}")
foreach(library IN ITEMS "${NEXO_MODULE}" "${NEXO_REPORT_ENGINE}")
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env NEXO_REGISTRY=${scratch} QT_QPA_PLATFORM=offscreen
            "${NEXO_SHELL}" --register "${library}"
    RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "Registering ${library} for the system registry failed:\n${out}")
  endif()
endforeach()

file(READ "${scratch}" text)
file(REMOVE "${scratch}")
string(REPLACE "=${built}/" "=${NEXO_INSTALLED}/" text "${text}")
string(FIND "${text}" "${built}/" left)
if(NOT left EQUAL -1 OR NOT text MATCHES "QndReport.Report" OR NOT text MATCHES "NexoFrame.AuthUnits")
  message(FATAL_ERROR "The system registry came out wrong:\n${text}")
endif()
file(WRITE "${NEXO_OUTPUT}"
  "; The classes of the installed NexoFrame, for every user. Written by the install; a user's\n"
  "; own registry (~/.config/NexoFrame/classes.ini) overrides it ProgID by ProgID.\n"
  "${text}")
