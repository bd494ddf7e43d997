# Builds one package: cmake -D... -P BuildPackage.cmake
#   TOOL      tx-package-registry          SOURCE_DIR  the project's source folder
#   PLATFORM  x64 or x86                   VERSION     the product version
#   BIN_X86, BIN_X64 (x64 only)            the folders of TessarixOL.dll and Resource.dll
#   WORK_DIR  a scratch folder             OUTPUT      the package
#   TYPELIB   LIBID|VERSION|FLAGS|HELP|IID|INTERFACE    ADDIN  PROGID|FRIENDLY_NAME|DESCRIPTION
# The package is written under a temporary name and renamed once complete.
foreach(var TOOL SOURCE_DIR PLATFORM VERSION BIN_X86 WORK_DIR OUTPUT TYPELIB ADDIN)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "BuildPackage.cmake: ${var} is not set")
  endif()
endforeach()

# wixl takes source files relative to its working folder only: it runs in the root folder.
function(relative out path)
  string(REGEX REPLACE "^/" "" path "${path}")
  set(${out} "${path}" PARENT_SCOPE)
endfunction()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status WORKING_DIRECTORY /)
  if(NOT status EQUAL 0)
    list(GET ARGN 0 program)
    message(FATAL_ERROR "BuildPackage.cmake: ${program} failed (${status})")
  endif()
endfunction()

string(REPLACE "|" ";" TYPELIB "${TYPELIB}")
string(REPLACE "|" ";" ADDIN "${ADDIN}")
file(MAKE_DIRECTORY ${WORK_DIR})
set(components AddinX86 TessarixOL.dll.x86 FolderX86 32)
relative(bin_x86 ${BIN_X86})
relative(bin_x64 "${BIN_X64}")
relative(icon ${SOURCE_DIR}/addin/resources/TessarixOL.ico)
set(defines -D Platform=${PLATFORM} -D BinX86=${bin_x86} -D Icon=${icon})
if(PLATFORM STREQUAL "x64")
  list(APPEND components AddinX64 TessarixOL.dll.x64 FolderX64 64)
  list(APPEND defines -D BinX64=${bin_x64})
endif()
run(${TOOL} ${WORK_DIR} ${SOURCE_DIR}/addin/resources/TessarixOL.rgs ${TYPELIB} ${ADDIN} ${components})

set(partial ${OUTPUT}.partial)
file(REMOVE ${partial})
run(wixl -a ${PLATFORM} -D Version=${VERSION} ${defines}
    -o ${partial} ${SOURCE_DIR}/installer/TessarixOL.wxs)
run(msibuild ${partial} -i ${WORK_DIR}/Registry.idt -i ${WORK_DIR}/RemoveRegistry.idt)
# wixl schedules the registry actions only for registry entries of its own: at their standard places.
run(msibuild ${partial}
    -q "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('RemoveRegistryValues', 2600)"
    -q "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('WriteRegistryValues', 5000)")
# The install folder holds only the two architectures' folders: it is a folder of the 32-bit
# component, removed by RemoveFolders once RemoveFiles emptied it (wixl writes no CreateFolder rows).
run(msibuild ${partial}
    -q "INSERT INTO CreateFolder (Directory_, Component_) VALUES ('INSTALLDIR', 'AddinX86')"
    -q "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('RemoveFolders', 3600)"
    -q "INSERT INTO InstallExecuteSequence (Action, Sequence) VALUES ('CreateFolders', 3700)")
# wixl leaves out MajorUpgrade's AllowSameVersionUpgrades: the same version with another product code
# (every build has one) is to replace the installed one, not install beside it
# (msidbUpgradeAttributesVersionMaxInclusive, 0x200). Attributes is a key column: the table is
# exported, changed and imported again.
execute_process(COMMAND msiinfo export ${partial} Upgrade OUTPUT_VARIABLE upgrade RESULT_VARIABLE status)
string(REPLACE "\t1\t\tWIX_UPGRADE_DETECTED" "\t513\t\tWIX_UPGRADE_DETECTED" changed "${upgrade}")
if(NOT status EQUAL 0 OR changed STREQUAL upgrade)
  message(FATAL_ERROR "BuildPackage.cmake: the Upgrade table is not as wixl writes it")
endif()
file(WRITE ${WORK_DIR}/Upgrade.idt "${changed}")
run(msibuild ${partial} -i ${WORK_DIR}/Upgrade.idt)
file(RENAME ${partial} ${OUTPUT})
