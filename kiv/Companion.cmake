# The companion: what stands on the library and uses only its public and protected interface. Its folders lie beside
# those of the library, and the library does not know them.
set(KIV_COMPANION_HEADERS
    companion.h
    records/itcArrays.h
    records/itcAsXNDR.h
    records/itcBounded.h
    records/itcBytes.h
    records/itcDescribe.h
    records/itcField.h
    records/itcFields.h
    records/itcPrinted.h
    records/itcSizeOnWire.h
    records/itcText.h
    records/itcValues.h
    session/itcAcceptor.h
    session/itcCheckedDispatcher.h
    session/itcClosed.h
    session/itcConnector.h
    session/itcDatagrams.h
    session/itcLink.h
    session/itcPost.h
    session/itcRunUntilSignal.h
    session/itcSession.h
    session/itcSignals.h
    session/itcTimer.h
)
set(KIV_COMPANION_HEADERS ${KIV_COMPANION_HEADERS} PARENT_SCOPE) # the package and the tests of it ask for them

# Templates: a host compiles them, but includes none of these itself.
set(KIV_COMPANION_INTERNAL_HEADERS
    records/detail/Compare.h
    records/detail/Describe.h
    records/detail/Empty.h
    records/detail/Failure.h
    records/detail/Fields.h
    records/detail/Inline.h
    records/detail/Kind.h
    records/detail/Layout.h
    records/detail/Operands.h
    records/detail/PacketReader.h
    records/detail/PacketWriter.h
    records/detail/Print.h
    records/detail/Put.h
    records/detail/PutContainers.h
    records/detail/PutNumbers.h
    records/detail/PutRecords.h
    records/detail/Refused.h
    records/detail/Take.h
    records/detail/TakeContainers.h
    records/detail/TakeNumbers.h
    records/detail/TakeRecords.h
    PARENT_SCOPE
)

add_library(kiv_companion SHARED
    session/detail/Backoff.cpp
    session/detail/EventDescriptor.cpp
    session/detail/FrameReader.cpp
    session/detail/LifeSign.cpp
    session/detail/LockFile.cpp
    session/detail/Lookup.cpp
    session/detail/PeerAddress.cpp
    session/detail/SendQueue.cpp
    session/detail/SessionCore.cpp
    session/itcAcceptor.cpp
    session/itcCheckedDispatcher.cpp
    session/itcClosed.cpp
    session/itcConnector.cpp
    session/itcDatagrams.cpp
    session/itcLink.cpp
    session/itcPost.cpp
    session/itcRunUntilSignal.cpp
    session/itcSession.cpp
    session/itcSignals.cpp
    session/itcTimer.cpp
)
add_library(KIV::Companion ALIAS kiv_companion)
kiv_target_defaults(kiv_companion)
kiv_strict_warnings(kiv_companion)
kiv_harden(kiv_companion)
set_target_properties(kiv_companion PROPERTIES
    OUTPUT_NAME KIVCompanion
    EXPORT_NAME Companion
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/hidden.map
)
find_package(Threads REQUIRED)
target_link_libraries(kiv_companion PUBLIC KIV::KIV PRIVATE Threads::Threads)
target_link_options(kiv_companion PRIVATE -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/hidden.map -Wl,-z,defs)
if(KIV_SANITIZE)
    target_link_options(kiv_companion PRIVATE -Wl,-z,undefs)
endif()
