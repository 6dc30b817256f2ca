# Run by CPack on the staged installation: makes the ZIP and the MSI. The same files of the same
# commit give the same bytes: every time is the commit's, every identifier comes from what it names.

set(namespace 5f3b1d0a-8c0e-4c55-9d53-2f4f3a1f7b10)  # of this product's identifiers; never changes
cmake_path(GET CPACK_TEMPORARY_DIRECTORY PARENT_PATH work)
set(output ${work}/${CPACK_PACKAGE_FILE_NAME})
# SYSTEM and administrators may do all, users read and execute. Whoever made a folder before the
# installer came owns it, and would keep the right to set its permissions: owners may only read, too.
set(folder_permissions "D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;BU)(A;OICI;FRFX;;;OW)")
# Each architecture is a product of its own, with a folder of its own wherever Windows runs more than one.
# wixl knows no ARM64: what it writes differs from x64 in the template alone, which is replaced.
set(template x64)
set(packer_architecture x64)
set(programs ProgramFiles64Folder)
set(folder "Orrery Inventory")
set(is_64_bit yes)
set(of_architecture "")
set(listed_architecture "")
if(CPACK_ORRERY_ARCHITECTURE STREQUAL "x86")
  set(template Intel)
  set(packer_architecture x86)
  set(programs ProgramFilesFolder)
  set(is_64_bit no)
  set(of_architecture " x86")
  set(listed_architecture " (x86)")
elseif(CPACK_ORRERY_ARCHITECTURE STREQUAL "arm64")
  set(template Arm64)
  set(folder "Orrery Inventory (ARM64)")
  set(of_architecture " arm64")
  set(listed_architecture " (ARM64)")
endif()
set(ENV{TZ} UTC)
set(ENV{LC_ALL} C)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

# The time that packages carry: SOURCE_DATE_EPOCH, else the commit's, else the first a ZIP can tell.
function(read_epoch result)
  set(epoch "$ENV{SOURCE_DATE_EPOCH}")
  if(NOT epoch)
    execute_process(COMMAND git -C ${CPACK_ORRERY_SOURCE} log -1 --format=%ct
      OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
  if(NOT epoch)
    set(epoch 315532800)
  endif()
  set(${result} ${epoch} PARENT_SCOPE)
endfunction()

function(name_uuid result name)
  string(UUID uuid NAMESPACE ${namespace} NAME ${name} TYPE SHA1 UPPER)
  set(${result} ${uuid} PARENT_SCOPE)
endfunction()

# The name of a table's row for a path of the installed tree; rows are named by 72 characters at most.
function(name_row result path)
  string(MAKE_C_IDENTIFIER "${path}" name)
  string(LENGTH ${name} length)
  if(length GREATER 70)
    string(SHA1 hash "${path}")
    string(SUBSTRING ${name} 0 29 name)
    string(APPEND name _${hash})
  endif()
  set(${result} ${name} PARENT_SCOPE)
endfunction()

function(make_zip files)
  list(TRANSFORM files PREPEND ${CPACK_PACKAGE_FILE_NAME}/)
  list(JOIN files "\n" lines)
  file(WRITE ${work}/files.txt "${lines}\n")
  file(REMOVE ${output}.zip)
  # Without owner and access times, which are the builder's.
  execute_process(COMMAND ${CPACK_ORRERY_ZIP} -q -X -9 -@ ${output}.zip
    WORKING_DIRECTORY ${work} INPUT_FILE ${work}/files.txt
    COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Declares a folder of the installed tree, which a component needs, and those above it.
function(declare_folder folder component)
  name_row(id "d_${folder}")
  get_property(declared GLOBAL PROPERTY ${id})
  if(declared OR NOT folder)
    return()
  endif()
  cmake_path(GET folder PARENT_PATH parent)
  cmake_path(GET folder FILENAME name)
  declare_folder("${parent}" ${component})
  set(parent_id INSTALLDIR)
  if(parent)
    name_row(parent_id "d_${parent}")
  endif()
  set_property(GLOBAL PROPERTY ${id} TRUE)
  set_property(GLOBAL APPEND_STRING PROPERTY folders
    "    <DirectoryRef Id=\"${parent_id}\"><Directory Id=\"${id}\" Name=\"${name}\"/></DirectoryRef>\n")
  # Named in this table as well, a folder that holds nothing but folders goes when they go.
  set_property(GLOBAL APPEND_STRING PROPERTY folder_rows "${id}\t${component}\n")
  # Each by itself: one that was there before may have permissions of its own.
  set_property(GLOBAL APPEND_STRING PROPERTY permission_rows
    "${id}\t${id}\tCreateFolder\t${folder_permissions}\t\n")
endfunction()

# Sets what the template of the installer names: folders, components, and the components of each
# feature.
function(describe_files files)
  foreach(file IN LISTS files)
    cmake_path(GET file PARENT_PATH folder)
    cmake_path(GET file FILENAME name)
    name_row(folder_id "d_${folder}")
    name_row(id "c_${file}")
    name_row(file_id "f_${file}")
    declare_folder("${folder}" ${id})
    name_uuid(guid "component ${file}${of_architecture}")
    string(APPEND components
      "    <DirectoryRef Id=\"${folder_id}\"><Component Id=\"${id}\" Guid=\"${guid}\" Win64=\"${is_64_bit}\">"
      "<File Id=\"${file_id}\" Name=\"${name}\" Source=\"${CPACK_PACKAGE_FILE_NAME}/${file}\""
      " KeyPath=\"yes\"/></Component></DirectoryRef>\n")
    set(feature runtime_components)
    if(file MATCHES "^(include|lib)/")
      set(feature development_components)
    endif()
    string(APPEND ${feature} "      <ComponentRef Id=\"${id}\"/>\n")
  endforeach()
  get_property(folders GLOBAL PROPERTY folders)
  foreach(result folders components runtime_components development_components)
    set(${result} "${${result}}" PARENT_SCOPE)
  endforeach()
endfunction()

# The content of the package decides on its code: two packages of one code hold the same.
function(describe_package files)
  file(SHA256 ${CMAKE_CURRENT_FUNCTION_LIST_FILE} text)
  foreach(file IN LISTS files)
    file(SHA256 ${CPACK_TEMPORARY_DIRECTORY}/${file} hash)
    string(APPEND text " ${file} ${hash}")
  endforeach()
  foreach(part orrery.wxs.in environment.idt.in folders.idt.in permissions.idt.in summary.idt.in)
    file(SHA256 ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/msi/${part} hash)
    string(APPEND text " ${hash}")
  endforeach()
  name_uuid(code "package ${CPACK_PACKAGE_VERSION} ${epoch} ${text}")
  set(package_code ${code} PARENT_SCOPE)
  string(TIMESTAMP time "%Y/%m/%d %H:%M:%S" UTC)
  set(package_time ${time} PARENT_SCOPE)
endfunction()

# wixl knows neither environment variables nor permissions nor the versions of files, and takes the time
# and the code of the package from the clock and from chance: these are written into its tables.
function(complete_msi)
  get_property(folder_rows GLOBAL PROPERTY folder_rows)
  get_property(permission_rows GLOBAL PROPERTY permission_rows)
  foreach(table environment folders permissions summary)
    configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/msi/${table}.idt.in ${work}/${table}.idt @ONLY)
  endforeach()
  set(sequence "INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES")
  run(${CPACK_ORRERY_MSIBUILD} ${output}.msi
    -i ${work}/environment.idt -i ${work}/folders.idt
    -i ${work}/permissions.idt -i ${work}/summary.idt
    -q "${sequence} ('RemoveEnvironmentStrings', 3300)"
    -q "${sequence} ('RemoveFolders', 3600)"
    -q "${sequence} ('CreateFolders', 3700)"
    -q "${sequence} ('WriteEnvironmentStrings', 5200)")
  foreach(file f_bin_orrery_dll f_bin_orreryctl_exe)
    run(${CPACK_ORRERY_MSIBUILD} ${output}.msi
      -q "UPDATE `File` SET `Version`='${CPACK_ORRERY_FILE_VERSION}', `Language`='1033' WHERE `File`='${file}'"
      -q "DELETE FROM `MsiFileHash` WHERE `File_`='${file}'")
  endforeach()
endfunction()

function(make_msi files)
  name_uuid(upgrade_code "upgrade${of_architecture}")
  name_uuid(product_code "product ${CPACK_PACKAGE_VERSION}${of_architecture}")
  describe_files("${files}")
  describe_package("${files}")
  configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/msi/orrery.wxs.in ${work}/orrery.wxs @ONLY)
  run(${CPACK_ORRERY_WIXL} --arch ${packer_architecture} -o ${output}.msi ${work}/orrery.wxs)
  complete_msi()
endfunction()

read_epoch(epoch)
set(ENV{SOURCE_DATE_EPOCH} ${epoch})
file(GLOB_RECURSE files RELATIVE ${CPACK_TEMPORARY_DIRECTORY} ${CPACK_TEMPORARY_DIRECTORY}/*)
list(SORT files)
foreach(file IN LISTS files)
  run(touch -d @${epoch} ${CPACK_TEMPORARY_DIRECTORY}/${file})
endforeach()
make_zip("${files}")
make_msi("${files}")
set(CPACK_EXTERNAL_BUILT_PACKAGES ${output}.zip ${output}.msi)
