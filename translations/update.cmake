# Brings every .ts file of FOLDER in step with the texts in SOURCES. With SCRATCH
# it leaves them alone and fails if one of them is not in step.

file(GLOB files ${FOLDER}/*.ts)
set(updated ${files})
if(SCRATCH)
  file(COPY ${files} DESTINATION ${SCRATCH})
  file(GLOB updated ${SCRATCH}/*.ts)
endif()

# Without line numbers, so that only changed texts change the files.
execute_process(
  COMMAND ${LUPDATE} -silent -no-obsolete -locations none -recursive ${SOURCES} -ts ${updated}
  COMMAND_ERROR_IS_FATAL ANY)

if(SCRATCH)
  foreach(file IN LISTS files)
    get_filename_component(name ${file} NAME)
    execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${file} ${SCRATCH}/${name}
      RESULT_VARIABLE differs)
    if(differs)
      message(FATAL_ERROR "${name} lacks texts of the sources, or has old ones. "
        "Build the target update_translations and translate what is unfinished.")
    endif()
  endforeach()
endif()
