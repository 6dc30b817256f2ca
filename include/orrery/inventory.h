/**
 * @file
 * The public interface of orrery.dll: one call that collects what this PC is and writes it to a
 * report file. Plain C, usable from C99 and C++; nothing else of the library is public.
 *
 * Link against the import library, or load the DLL and resolve the three undecorated names with
 * GetProcAddress. The library calls CoInitialize(NULL) on the calling thread and balances it before
 * it returns; a thread that already belongs to a multithreaded apartment may call it all the same.
 * It does not call CoInitializeSecurity: the host's process-wide COM security stays the host's.
 */
#ifndef ORRERY_INVENTORY_H
#define ORRERY_INVENTORY_H

#include <stdint.h>
#include <wchar.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Flags of GetInventoryEx. Bits without a name are ignored. */
enum {
    /** Accepted for callers that ask for UTF-8; the report stays UTF-16LE. */
    ORRERY_FLAG_UTF8 = 0x08,
    /** Collect the thirteen hardware and operating-system categories. */
    ORRERY_FLAG_HARDWARE = 0x10,
    /** A group without categories: on its own it gives an empty report. */
    ORRERY_FLAG_GROUP_20 = 0x20,
    /** A group without categories: on its own it gives an empty report. */
    ORRERY_FLAG_GROUP_40 = 0x40
};

/**
 * Runs one inventory with all groups selected: the same as GetInventoryEx(path, 0).
 *
 * @param path  as for GetInventoryEx
 * @return      as for GetInventoryEx
 */
int32_t __stdcall GetInventory(const wchar_t* path);

/**
 * Collects the facts of this PC and, when the path ends in ".tsv", writes them as a report.
 *
 * The report is UTF-16LE without a byte-order mark, one line a fact: section, tab, index, tab,
 * property, tab, value, line feed. An existing file is replaced. The call returns when the slowest
 * category has ended; there is no time-out.
 *
 * @param path   null-terminated path of the report; it must end in ".tsv", in lower case, for a
 *               file to be written. NULL collects without writing. A value up to 0xFFFF is the
 *               identifier of a text in the library's own string table.
 * @param flags  ORRERY_FLAG_ values, or 0 for all groups
 * @return       1 when no cancel was asked for before all categories were handed out, else 0; then
 *               nothing is written. A cancel that comes later leaves the result at 1 and the report
 *               is written, but categories whose thread had not begun yet are missing from it, their
 *               elapsed times too. The result says nothing about the file: a path that cannot be
 *               opened leaves none and the run still returns 1.
 */
int32_t __stdcall GetInventoryEx(const wchar_t* path, uint32_t flags);

/**
 * Asks the run in progress, and every later one, to stop. Callable from any thread.
 *
 * Categories that have not started are dropped; those that have run to their end. There is no way
 * back: to run again after a cancel, unload the library and load it anew.
 */
void __stdcall Cancel(void);

#ifdef __cplusplus
}
#endif

#endif
