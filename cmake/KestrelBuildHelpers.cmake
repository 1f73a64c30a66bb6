# Build helpers shared by every folder: precompiled Qt headers and the rule that keeps the
# engines free of Qt Gui and Widgets.

option(KESTREL_PRECOMPILE_HEADERS "Precompile the Qt headers every file includes" ON)

# kst_precompile_qt(<target> [WIDGETS]): precompiles the Qt Core headers (and with WIDGETS the
# widget headers) for <target>. Most of a file's compile time is spent in Qt's headers; this
# keeps the three CI builds short as the code grows.
function(kst_precompile_qt target)
    if(NOT KESTREL_PRECOMPILE_HEADERS)
        return()
    endif()
    cmake_parse_arguments(ARG "WIDGETS" "" "" ${ARGN})
    set(headers
        <QByteArray> <QDateTime> <QDir> <QFileInfo> <QHash> <QList> <QObject> <QSet> <QString>
        <QStringList> <QVariant> <functional> <memory> <mutex> <optional> <vector>)
    if(ARG_WIDGETS)
        list(APPEND headers
            <QHBoxLayout> <QLabel> <QPainter> <QPushButton> <QVBoxLayout> <QWidget>)
    endif()
    target_precompile_headers(${target} PRIVATE ${headers})
endfunction()

# kst_collect_links(<target> <out-var>): every library <target> links, directly or through
# others (usage requirements included).
function(_kst_collect_links target out)
    set(seen ${${out}})
    foreach(property LINK_LIBRARIES INTERFACE_LINK_LIBRARIES)
        get_target_property(links ${target} ${property})
        if(NOT links)
            continue()
        endif()
        foreach(link IN LISTS links)
            # $<LINK_ONLY:x> and similar wrappers name x.
            string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" link "${link}")
            if(link IN_LIST seen)
                continue()
            endif()
            list(APPEND seen ${link})
            if(TARGET ${link})
                get_target_property(aliased ${link} ALIASED_TARGET)
                if(aliased)
                    list(APPEND seen ${aliased})
                    set(link ${aliased})
                endif()
                _kst_collect_links(${link} seen)
            endif()
        endforeach()
    endforeach()
    set(${out} ${seen} PARENT_SCOPE)
endfunction()

# kst_require_no_gui(<target>...): configuring fails when one of the targets links Qt Gui,
# Widgets or Svg, directly or through another library. Engines run without a window (the
# command line, tests, a future service) and must stay that way.
function(kst_require_no_gui)
    foreach(target IN LISTS ARGN)
        set(links "")
        _kst_collect_links(${target} links)
        foreach(forbidden Qt6::Gui Qt6::Widgets Qt6::Svg Qt::Gui Qt::Widgets Qt::Svg)
            if(forbidden IN_LIST links)
                message(FATAL_ERROR
                    "${target} links ${forbidden}: engine libraries must not depend on Qt Gui "
                    "or Widgets (draw in src/shell instead)")
            endif()
        endforeach()
    endforeach()
endfunction()

# kst_require_screen_links(<target> ENGINE <engine> [ALSO <library>...]): configuring fails when
# a tool's screen library links anything, directly or through another library, beyond the kit,
# its own engine (with what that engine links) and the ALSO libraries. A screen that reached
# into another tool's engine or screen would tie two tools together.
function(kst_require_screen_links target)
    cmake_parse_arguments(ARG "" "ENGINE" "ALSO" ${ARGN})
    set(allowed kst_shell_kit ${ARG_ENGINE} ${ARG_ALSO})
    set(allowed_closure ${allowed})
    foreach(library IN LISTS allowed)
        _kst_collect_links(${library} allowed_closure)
    endforeach()
    set(links "")
    _kst_collect_links(${target} links)
    foreach(link IN LISTS links)
        if(link MATCHES "^kst_" AND NOT link IN_LIST allowed_closure)
            message(FATAL_ERROR
                "${target} links ${link}: a tool's screen links only kst_shell_kit and its own "
                "engine (${ARG_ENGINE})")
        endif()
    endforeach()
endfunction()
