/**
 * @file sc_brk.h
 * `brk_`: the component broker. A class is the registry of the engines and add-ons installed
 * below one root directory; objects opened on it (bound to one engine, or to none) reach
 * components by broker string: their modules' numbered interfaces, their data blocks and their
 * header values.
 *
 * @anchor brk_layout
 * **What the broker finds.** Every component describes itself in a data header file (see
 * sc_hdrpars.h) with the elements COMPTYPE, BROKERSTRING and NAME (a file lacking one is
 * skipped):
 * - engines: `ROOT/<dir>/<file>.hdr` whose COMPTYPE is "ASRENGINE", "TTSENGINE" or "FXENGINE"
 *   (case included), read when the class opens;
 * - an engine's add-ons: the `*.hdr`, then the `*.dat` files anywhere below the subdirectories
 *   of its directory, depth first (64 levels at most), read when the first object on the
 *   engine opens (and again at every further open, adding what is new), dropped when its last
 *   object closes; an add-on with an ENGINE element is kept only below the engines whose
 *   broker string that value contains; ADDON elements of the engine's header declare add-ons
 *   inline, living in the engine's module;
 * - shared add-ons: the same below `ROOT/shared/<sub>/`, read when the class opens and reached
 *   by every object.
 *
 * Add-ons may carry LANGUAGE and PRIORITY (a decimal number, compared unsigned, so -1 ranks
 * first), components with code DLL (a file name beside the header, or "ENGINE" for the
 * engine's own module) and GETINTERFACE (the export name of the module's entry point), data
 * blocks DATABLOCK elements, and any component VERSION. Within one list the first reading of a
 * broker string wins; unreadable or incomplete files are skipped silently, and a root that
 * does not exist gives an empty registry.
 *
 * @anchor brk_matching
 * **How broker strings match.** 8-bit strings crossing this interface are UTF-8.
 * - Engines and exact broker strings compare ignoring the case of ASCII letters only.
 * - A broker string longer than 4 characters that ends in "/def" (lower case) is in the
 *   *default form*: among the add-ons whose broker strings begin with the rest (ignoring ASCII
 *   case) and whose language passes, the one of highest priority wins, a later one winning a
 *   tie; the object's engine's add-ons are searched first, the shared ones only when none of
 *   the engine's qualifies. An exact broker string searches the engine's add-ons, then the
 *   shared ones, without looking at languages.
 * - Languages: in the default form, an add-on's LANGUAGE and the object's language are
 *   compared exactly, case included: "en" passes only "en", not "en-US" nor "EN". An object
 *   opened with a null language passes every add-on; an add-on without LANGUAGE passes every
 *   object; an object with an empty language passes only add-ons without LANGUAGE (or with
 *   an empty one).
 * - Data names: a broker string may end in ":name" (at its last colon that is neither its
 *   first nor its last character) to name a data block of the component; names of data blocks
 *   compare ignoring ASCII case, and without a name the block "data" is meant.
 * - A broker string that resolves to nothing is offered to the resolve callbacks (see
 *   ::BrkResolveCallback), which may ask for a retry; if none does, the call fails with
 *   #BRK_E_BROKER_STRING_NOT_FOUND.
 *
 * @anchor brk_handles
 * **Handles and codes.** A class, object or data handle that is null, closed or not one the
 * broker handed out is refused with #BRK_E_INVALID_ARGUMENT (brk_InterfaceRelease() refuses
 * with #BRK_E_INTERFACE_NOT_FOUND, and brk_DataUnmap() ignores it); so are the null pointer
 * arguments a function names. A string that cannot be converted or copied gives
 * #BRK_E_UNEXPECTED, exhausted memory #BRK_E_OUT_OF_MEMORY. Codes of the data header reader
 * (`HDRPARS_E_...`, sc_hdrpars.h) pass through unchanged.
 *
 * **Ownership.** What a query hands out (lists, strings) comes from the class's heap and is
 * given back with the matching release through an open object of the same class. Names,
 * header values and interfaces belong to the registry: they are never freed by the caller and
 * stay valid while the component's record lives (an engine's and a shared add-on's until the
 * class closes, an engine add-on's until the last object on its engine closes).
 *
 * @anchor brk_threads
 * **Threads.** Any thread may call any function; objects may be shared. Each class has one
 * re-entrant lock (lent to brk_ClassOpen(), owned by a class from brk_ClassOpenEx()): object
 * opens and closes, module loading and unloading, data blocks and their mappings run under it;
 * the queries of lists, tags and information read the registry without it (records are
 * complete before they are linked). Module entry points, initialisers and finalisers, and the
 * resolve callbacks of brk_DataOpen(), run with the lock held on the calling thread and may
 * call back into the broker on that thread. brk_ClassOpen(), brk_ClassOpenEx() and
 * brk_ClassClose() take no lock: no other call on the class or its objects may run during or
 * after the close.
 */
#ifndef SC_BRK_H
#define SC_BRK_H

#include "sc_common.h"
#include "sc_brk_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/** A broker class: the registry of the components below one root directory. Opaque. */
typedef struct BrkClass BrkClass;
/** An object on a class, bound to one engine or to none: what every query takes. Opaque. */
typedef struct BrkObject BrkObject;
/** An open data block of an add-on, shared and counted. Opaque. */
typedef struct BrkData BrkData;

/**
 * Asked when a broker string resolves to nothing: first the object's callback, then, unless
 * that one asked for a retry, the class's. Called on the calling thread, with the class lock
 * held when the broker string came to brk_DataOpen(), without it when it came to
 * brk_InterfaceQuery(), brk_TagQuery() or brk_InfoQuery().
 *
 * @param[in] brokerString The broker string, UTF-8, valid during the call.
 * @param[in] zero Always 0.
 * @param[out] replacement Null on entry; the callback may point it at a broker string of its
 *     own to try instead, which must stay valid until the callback has returned (the broker
 *     copies it and never frees it).
 * @return Exactly 1 asks the broker to try again: with the replacement when one was given,
 *     else after reading the add-on directories again. Anything else gives up. A callback
 *     must stop asking for retries, or the resolution never ends.
 */
typedef int (*BrkResolveCallback)(const char *brokerString, uint32_t zero,
                                  const char **replacement);

/**
 * A component module's entry point, exported under the name in its GETINTERFACE element.
 * Called with the class lock held, on the thread of the query.
 *
 * @param[in] interfaceId 0 for the module's ::BrkModuleTable, else the number of an interface.
 * @param[out] out Receives the table's address (id 0) or the interface.
 * @return For id 0 any success; for other ids exactly 0 when the interface is written, any
 *     other value when the module has no such interface. A null interface written with 0 is
 *     refused (brk_InterfaceQuery() fails with #BRK_E_NOT_PRESENT).
 */
typedef VQRESULT (*BrkGetInterface)(uint32_t interfaceId, void **out);

/**
 * A module's initialiser, called once after the module is loaded, with the class lock held.
 *
 * @param[in] object The object whose query caused the load.
 * @param[in] heap The class's heap instance.
 * @param[out] instance The module's instance handle, ::g_vqNullHandle until the initialiser
 *     fills it; handed out with every interface of the module.
 * @return A failure refuses the load (the query then fails with #BRK_E_CANNOT_LOAD_MODULE).
 */
typedef VQRESULT (*BrkModuleInitialize)(BrkObject *object, HeapInstance heap, SafeHandle *instance);

/**
 * A module's finaliser, called once before the module is unloaded, with the class lock held.
 *
 * @param[in] instance The module's instance handle, as the initialiser left it.
 * @return Ignored.
 */
typedef VQRESULT (*BrkModuleFinalize)(SafeHandle instance);

/** What a module's entry point gives for interface id 0. */
typedef struct BrkModuleTable {
  void (*reserved1)(void);        /**< A matter between engines and their components; unused. */
  void (*reserved2)(void);        /**< The same. */
  BrkModuleInitialize initialize; /**< Called after loading; may be null. */
  BrkModuleFinalize finalize;     /**< Called before unloading; may be null. */
} BrkModuleTable;

/** One component of a ::BrkComponentList. */
typedef struct BrkComponentInfo {
  /** Its BROKERSTRING, UTF-8, owned by the list. */
  char *brokerString;
  /** Its NAME, UTF-16, borrowed from the registry: not freed with the list. */
  const char16_t *name;
  /** Its VERSION, UTF-8, owned by the list; null without one. */
  char *version;
  /** Its LANGUAGE, UTF-8, owned by the list; null without one, and always for engines. */
  char *language;
  /** Its PRIORITY; always 0 for engines and inline add-ons. */
  uint32_t priority;
} BrkComponentInfo;

/** The components brk_ComponentListQuery() finds; released with brk_ComponentListRelease(). */
typedef struct BrkComponentList {
  uint32_t count;            /**< Entries in use. */
  BrkComponentInfo *entries; /**< count entries (room for capacity). */
  uint32_t capacity;         /**< Room in entries, grown 8 at a time. */
} BrkComponentList;

/**
 * Opens a class over a root directory with a heap and a lent lock, and reads its engines and
 * shared add-ons (what the scan skips is not reported).
 *
 * @param[out] out Receives the class; close it with brk_ClassClose().
 * @param[in] rootDirectory The root directory, UTF-8; copied. One that does not exist gives an
 *     empty registry.
 * @param[in] heap The heap instance of every allocation of the class, its objects and what
 *     they hand out.
 * @param[in] lock A lock from critsec_ObjOpen(), lent: the caller keeps it until after
 *     brk_ClassClose() and closes it then.
 * @param[in] classCallback The class's resolve callback; may be null.
 * @retval 0 Opened.
 * @retval BRK_E_INVALID_ARGUMENT @p out is null.
 * @retval BRK_E_UNEXPECTED @p rootDirectory is null or cannot be converted.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread; no lock is taken.
 * @onfailure @p out is untouched and nothing stays allocated.
 */
SC_API VQRESULT brk_ClassOpen(BrkClass **out, const char *rootDirectory, HeapInstance heap,
                              LockValue lock, BrkResolveCallback classCallback);

/**
 * Opens a class over a root directory with the heap of a Resource and a lock of its own, and
 * reads its engines and shared add-ons.
 *
 * @param[out] out Receives the class; close it with brk_ClassClose().
 * @param[in] rootDirectory The root directory, UTF-8; copied.
 * @param[in] resource The Resource whose heap and lock instance the class uses;
 *     ::g_vqNullHandle for the default resource. It must outlive the class.
 * @param[in] classCallback The class's resolve callback; may be null.
 * @retval 0 Opened.
 * @retval BRK_E_INVALID_ARGUMENT @p out is null.
 * @retval BRK_E_UNEXPECTED The resource handle is refused, the lock cannot be made, or
 *     @p rootDirectory is null or cannot be converted.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread; no lock is taken.
 * @onfailure @p out is untouched and nothing stays allocated.
 */
SC_API VQRESULT brk_ClassOpenEx(BrkClass **out, const char *rootDirectory, ResourceHandle resource,
                                BrkResolveCallback classCallback);

/**
 * Closes a class and frees its registry (and its own lock, for a class of brk_ClassOpenEx()).
 *
 * @param[in] cls The class; null is accepted.
 * @retval 0 Closed (or null).
 * @retval BRK_E_STILL_IN_USE Objects are open, a shared add-on's module is loaded or one of its
 *     data blocks is open, or an engine still has its add-ons; nothing changes, and the close
 *     may be repeated once everything is given back.
 * @retval BRK_E_INVALID_ARGUMENT Not an open class.
 * @threadsafety Any thread, once no other call on the class or its objects runs or will run.
 */
SC_API VQRESULT brk_ClassClose(BrkClass *cls);

/**
 * Opens an object on a class: on the engine of a broker string (reading the engine's add-ons),
 * or without engine.
 *
 * @param[out] out Receives the object; close it with brk_ObjClose().
 * @param[in] brokerString The engine's broker string, UTF-8, matched ignoring ASCII case; null
 *     or empty opens an object without engine, which reaches only the shared add-ons.
 * @param[in] language The object's language, UTF-8, copied; it filters the default form (see
 *     @ref brk_matching "matching"). Null filters nothing.
 * @param[in] cls The class.
 * @param[in] objectCallback The object's resolve callback, asked before the class's; may be
 *     null.
 * @retval 0 Opened.
 * @retval BRK_E_INVALID_ARGUMENT @p out is null, or @p cls is not an open class.
 * @retval BRK_E_ENGINE_NOT_FOUND No engine has the broker string.
 * @retval BRK_E_UNEXPECTED A string cannot be converted, or the engine's directory cannot.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out, also while reading the engine's add-ons: an open
 *     never succeeds with an add-on left out.
 * @threadsafety Any thread; the engine's add-ons are read under the class lock.
 * @onfailure @p out holds null (unless it is null itself) and the class is as it was: its
 *     counts, and the engine's add-ons (none of those read before the failure is listed).
 */
SC_API VQRESULT brk_ObjOpen(BrkObject **out, const char *brokerString, const char *language,
                            BrkClass *cls, BrkResolveCallback objectCallback);

/**
 * Closes an object. The last object on an engine drops the engine's add-ons, which is refused
 * while the engine's module or an add-on's module is loaded or a data block of its add-ons is
 * open, whichever object obtained them.
 *
 * @param[in] object The object; null is accepted.
 * @retval 0 Closed (or null).
 * @retval BRK_E_STILL_IN_USE The last object on its engine while modules or data blocks of the
 *     engine are held; the object stays open and usable.
 * @retval BRK_E_INVALID_ARGUMENT Not an open object.
 * @retval BRK_E_UNEXPECTED The engine counts no open object (an inconsistent state).
 * @threadsafety Any thread, once no other call uses the object; runs under the class lock.
 * @onfailure The object stays open.
 */
SC_API VQRESULT brk_ObjClose(BrkObject *object);

/**
 * The same as brk_ObjOpen().
 *
 * @param[out] out See brk_ObjOpen().
 * @param[in] brokerString See brk_ObjOpen().
 * @param[in] language See brk_ObjOpen().
 * @param[in] cls See brk_ObjOpen().
 * @param[in] objectCallback See brk_ObjOpen().
 * @return See brk_ObjOpen().
 * @threadsafety See brk_ObjOpen().
 */
SC_API VQRESULT brk_ObjOpenEx(BrkObject **out, const char *brokerString, const char *language,
                              BrkClass *cls, BrkResolveCallback objectCallback);

/**
 * The same as brk_ObjClose().
 *
 * @param[in] object See brk_ObjClose().
 * @return See brk_ObjClose().
 * @threadsafety See brk_ObjClose().
 */
SC_API VQRESULT brk_ObjCloseEx(BrkObject *object);

/**
 * Hands out a numbered interface of a component's module, loading the module on the first
 * request (its initialiser runs once, with this object). The module is shared by every object
 * of the class; an add-on whose DLL is "ENGINE", or that is declared inline, lives in its
 * engine's module and keeps that one loaded too. Each successful query is paired with one
 * brk_InterfaceRelease(); the same id asked twice gives the same pointer, counted twice (id 0
 * asks the entry point again every time).
 *
 * @param[in] object The object.
 * @param[in] brokerString The object's own engine (ignoring ASCII case), or an add-on it
 *     reaches (exact or default form), UTF-8.
 * @param[in] interfaceId The interface's number.
 * @param[out] instance Receives the module's instance handle.
 * @param[out] interface Receives the interface, owned by the module.
 * @retval 0 Handed out.
 * @retval BRK_E_INVALID_ARGUMENT @p interface, @p instance or @p brokerString is null, the
 *     object is not open, or an add-on living in its engine's module is asked through an object
 *     without engine.
 * @retval BRK_E_BROKER_STRING_NOT_FOUND No engine of the object and no reachable add-on.
 * @retval BRK_E_TAG_NOT_FOUND The component has no DLL or no GETINTERFACE element (a data-only
 *     add-on).
 * @retval BRK_E_MODULE_OUTSIDE_ROOT The component's DLL value leads out of the component
 *     root (through ".."); nothing is loaded.
 * @retval BRK_E_CANNOT_LOAD_MODULE The library cannot be loaded, the entry point is not
 *     exported, or it or the initialiser fails; nothing stays loaded.
 * @retval BRK_E_INTERFACE_NOT_FOUND The entry point has no interface of that number; a module
 *     loaded only for this query is unloaded again.
 * @retval BRK_E_NOT_PRESENT The entry point answered 0 but wrote a null interface (a faulty
 *     module); as for a refused number, nothing is counted and a module loaded only for this
 *     query (with its engine's, for an add-on living there) is unloaded again.
 * @retval BRK_E_UNEXPECTED A string cannot be converted.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread; resolution runs without the class lock (callbacks may be asked),
 *     loading and counting under it.
 * @onfailure @p interface holds null (unless it is null itself); no count changes.
 */
SC_API VQRESULT brk_InterfaceQuery(BrkObject *object, const char *brokerString, uint8_t interfaceId,
                                   SafeHandle *instance, void **interface);

/**
 * Gives back one interface; a module whose last interface comes back is unloaded (its
 * finaliser runs), and with it its engine's module when nothing else holds that one.
 *
 * @param[in] object An open object of the class (its engine's and the shared add-ons' modules
 *     are searched for the interface).
 * @param[in] interface A pointer brk_InterfaceQuery() handed out.
 * @retval 0 Given back.
 * @retval BRK_E_INTERFACE_NOT_FOUND @p interface is null or was not handed out through a module
 *     the object reaches, or @p object is not an open object; no count changes.
 * @retval BRK_E_UNEXPECTED The interface's module lives in its engine's module, which is gone.
 * @threadsafety Any thread; runs under the class lock.
 */
SC_API VQRESULT brk_InterfaceRelease(BrkObject *object, void *interface);

/**
 * Opens a data block of an add-on: "component:block", or the block "data" of "component". The
 * handle is shared: opening the same block of the same add-on again hands out the same handle
 * and counts the open; each open is paired with one brk_DataClose().
 *
 * @param[in] object The object.
 * @param[in] brokerString The add-on's broker string (exact or default form; engines have no
 *     data), with the block's name after a colon, UTF-8.
 * @param[out] out Receives the handle.
 * @retval 0 Opened (or counted once more).
 * @retval BRK_E_INVALID_ARGUMENT @p out is null, or the object is not open.
 * @retval BRK_E_UNEXPECTED @p brokerString is null or cannot be converted.
 * @retval BRK_E_BROKER_STRING_NOT_FOUND No reachable add-on.
 * @retval BRK_E_INVALID_COMPONENT The add-on is declared inline and has no file.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out.
 * @return Also the data header reader's codes for a block its file lacks or a file it cannot
 *     read (#HDRPARS_E_DATABLOCK_NOT_FOUND, #HDRPARS_E_TAG_MISSING, #HDRPARS_E_NO_BINARY_DATA,
 *     #HDRPARS_E_FILE_OPEN, #HDRPARS_E_FILE_READ, ...), unchanged.
 * @threadsafety Any thread; runs under the class lock, resolve callbacks included.
 * @onfailure @p out holds null (unless it is null itself); no count changes.
 */
SC_API VQRESULT brk_DataOpen(BrkObject *object, const char *brokerString, BrkData **out);

/**
 * Closes one open of a data block; the last close closes the block and frees the handle. Give
 * back its mappings first.
 *
 * @param[in] object An open object of the class.
 * @param[in] data The handle.
 * @retval 0 Closed (or counted down).
 * @retval BRK_E_INVALID_ARGUMENT The object or the handle is not open.
 * @retval HDRPARS_E_STILL_MAPPED The last close while a mapping is outstanding; the block stays
 *     open.
 * @threadsafety Any thread; runs under the class lock.
 */
SC_API VQRESULT brk_DataClose(BrkObject *object, BrkData *data);

/**
 * Maps a range of a data block: exactly the range asked for, or nothing. Each mapping is given
 * back with brk_DataUnmap() before the block closes.
 *
 * @param[in] object An open object of the class.
 * @param[in] data The handle.
 * @param[in] offset Where the range starts, in bytes from the block's first byte; ignored when
 *     @p size is 0.
 * @param[in] size The range's length in bytes; 0 maps the whole block from offset 0.
 * @param[out] address Receives the address of the bytes, owned by the block.
 * @retval 0 Mapped.
 * @retval BRK_E_CANNOT_READ_DATA The range runs past the end of the block or the file, or is
 *     longer than 2 GiB.
 * @retval BRK_E_INVALID_ARGUMENT @p address is null, or the object or the handle is not open.
 * @return Also #HDRPARS_E_FILE_READ or #HDRPARS_E_OUT_OF_MEMORY of the reader, unchanged.
 * @threadsafety Any thread; runs under the class lock.
 * @onfailure @p address holds null (unless it is null itself); nothing stays mapped.
 */
SC_API VQRESULT brk_DataMap(BrkObject *object, BrkData *data, uint32_t offset, uint32_t size,
                            const void **address);

/**
 * Gives back a mapping of brk_DataMap().
 *
 * @param[in] object An open object of the class.
 * @param[in] data The handle.
 * @param[in] address The address brk_DataMap() handed out.
 * @retval 0 Always: an unknown address, or a handle or object that is not open, is ignored.
 * @threadsafety Any thread; runs under the class lock.
 */
SC_API VQRESULT brk_DataUnmap(BrkObject *object, BrkData *data, const void *address);

/**
 * The size of a data block.
 *
 * @param[in] object Not used.
 * @param[in] data The handle.
 * @param[out] size Receives the block's size in bytes.
 * @retval 0 Written.
 * @retval BRK_E_INVALID_ARGUMENT @p size is null or the handle is not open.
 * @threadsafety Any thread; no lock is taken.
 */
SC_API VQRESULT brk_DataSizeQuery(BrkObject *object, BrkData *data, uint32_t *size);

/**
 * Reads a header value: an element among the top-level elements of an engine (any engine of
 * the class, not only the object's), of an add-on the object reaches, or among the children of
 * one of an add-on's DATABLOCK elements ("component:block", the block's BROKERSTRING matched
 * ignoring ASCII case).
 *
 * The value is borrowed from the registry: the caller never frees or changes it, and it stays
 * valid while the component's record lives (an engine's or a shared add-on's until the class
 * closes, an engine add-on's until the last object on its engine closes). brk_TagRelease()
 * exists for code that pairs every query with a release; it frees nothing.
 *
 * @param[in] object The object.
 * @param[in] brokerString An engine's or add-on's broker string, UTF-8, with an optional
 *     ":block".
 * @param[in] tagName The element's name, UTF-8, compared exactly (case included).
 * @param[out] value Receives the value, UTF-16, without leading and trailing blanks.
 * @retval 0 Found.
 * @retval BRK_E_INVALID_ARGUMENT @p value, @p brokerString or @p tagName is null, or the object
 *     is not open.
 * @retval BRK_E_TAG_NOT_FOUND The component (or the block's DATABLOCK) has no such element.
 * @retval BRK_E_BROKER_STRING_NOT_FOUND No engine, no reachable add-on, or no DATABLOCK of that
 *     block name.
 * @retval BRK_E_UNEXPECTED A string cannot be converted.
 * @threadsafety Any thread; no lock is taken (resolve callbacks may be asked).
 * @onfailure @p value holds null (unless it is null itself).
 */
SC_API VQRESULT brk_TagQuery(BrkObject *object, const char *brokerString, const char *tagName,
                             const char16_t **value);

/**
 * Pairs with brk_TagQuery(); frees nothing, since the value belongs to the registry. Calling it
 * is optional.
 *
 * @param[in] object An open object.
 * @param[in] value A value of brk_TagQuery().
 * @retval 0 Always, for a non-null value and an open object.
 * @retval BRK_E_INVALID_ARGUMENT @p value is null or the object is not open.
 * @threadsafety Any thread.
 */
SC_API VQRESULT brk_TagRelease(BrkObject *object, const char16_t *value);

/**
 * Lists the components of one type.
 *
 * @param[in] object The object.
 * @param[in] componentType A COMPTYPE value, UTF-8, compared exactly (case included).
 *     "ASRENGINE", "TTSENGINE" and "FXENGINE" list the class's engines of that type, whatever
 *     the object. Any other type lists the add-ons of that COMPTYPE (for instance "ADDON",
 *     "VOICE", or whatever an installation uses) that the object reaches: its engine's first,
 *     then the shared ones. Add-ons are listed only when no engine has the type.
 * @param[out] out Receives the list (possibly empty), from the class's heap: release it with
 *     brk_ComponentListRelease() before the records whose names it borrows go away.
 * @retval 0 Listed.
 * @retval BRK_E_INVALID_ARGUMENT @p out or @p componentType is null, or the object is not open.
 * @retval BRK_E_UNEXPECTED A string cannot be converted.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread; no lock is taken.
 * @onfailure @p out holds null (unless it is null itself); nothing stays allocated.
 */
SC_API VQRESULT brk_ComponentListQuery(BrkObject *object, const char *componentType,
                                       BrkComponentList **out);

/**
 * Frees a list of brk_ComponentListQuery() with its strings (not the borrowed names).
 *
 * @param[in] object An open object of the list's class.
 * @param[in] list The list.
 * @retval 0 Freed.
 * @retval BRK_E_INVALID_ARGUMENT @p list is null or the object is not open; nothing is freed.
 * @threadsafety Any thread.
 */
SC_API VQRESULT brk_ComponentListRelease(BrkObject *object, BrkComponentList *list);

/**
 * The broker string of the first component of a type whose NAME is @p name (case included),
 * among those brk_ComponentListQuery() lists.
 *
 * @param[in] object The object.
 * @param[in] componentType The type, as for brk_ComponentListQuery().
 * @param[in] name The NAME, UTF-8.
 * @param[out] out Receives a copy of the broker string, UTF-8, from the class's heap: free it
 *     with brk_BrokerStringRelease().
 * @retval 0 Found.
 * @retval BRK_E_MODULE_NOT_FOUND No component of the type has the name.
 * @retval BRK_E_INVALID_ARGUMENT @p componentType, @p name or @p out is null, or the object is
 *     not open.
 * @retval BRK_E_UNEXPECTED A string cannot be converted.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread; no lock is taken.
 * @onfailure @p out holds null (unless it is null itself).
 */
SC_API VQRESULT brk_BrokerStringQuery(BrkObject *object, const char *componentType,
                                      const char *name, char **out);

/**
 * Frees a string of brk_BrokerStringQuery() or brk_InfoQuery() (one operation, two names).
 *
 * @param[in] object An open object of the string's class.
 * @param[in] string The string.
 * @retval 0 Freed.
 * @retval BRK_E_INVALID_ARGUMENT @p string is null or the object is not open; nothing is freed.
 * @threadsafety Any thread.
 */
SC_API VQRESULT brk_BrokerStringRelease(BrkObject *object, char *string);

/**
 * Information about a broker string: for an engine of the class (any, ignoring ASCII case) or
 * an exact add-on broker string, the path of the component's module (its directory, "/", its
 * DLL value; an add-on living in its engine's module gives the engine's); for the default form
 * "prefix/def", the broker string of the add-on it selects for this object.
 *
 * @param[in] object The object.
 * @param[in] brokerString The broker string, UTF-8.
 * @param[out] out Receives the answer, UTF-8, from the class's heap: free it with
 *     brk_InfoRelease().
 * @retval 0 Answered.
 * @retval BRK_E_BROKER_STRING_NOT_FOUND No engine and no reachable add-on.
 * @retval BRK_E_TAG_NOT_FOUND The component has no DLL element (a data-only add-on).
 * @retval BRK_E_MODULE_OUTSIDE_ROOT The module path leads out of the component root (through
 *     "..").
 * @retval BRK_E_INVALID_ARGUMENT @p brokerString or @p out is null, the object is not open, or
 *     an add-on living in its engine's module is asked through an object without engine.
 * @retval BRK_E_UNEXPECTED A string cannot be converted.
 * @retval BRK_E_OUT_OF_MEMORY Memory ran out.
 * @threadsafety Any thread; no lock is taken (resolve callbacks may be asked).
 * @onfailure @p out holds null (unless it is null itself).
 */
SC_API VQRESULT brk_InfoQuery(BrkObject *object, const char *brokerString, char **out);

/**
 * Frees a string of brk_InfoQuery() or brk_BrokerStringQuery(); the same as
 * brk_BrokerStringRelease().
 *
 * @param[in] object An open object of the string's class.
 * @param[in] string The string.
 * @retval 0 Freed.
 * @retval BRK_E_INVALID_ARGUMENT @p string is null or the object is not open; nothing is freed.
 * @threadsafety Any thread.
 */
SC_API VQRESULT brk_InfoRelease(BrkObject *object, char *string);

/**
 * The text of a code as the broker reads it.
 *
 * @param[in] code Any result code.
 * @return "Success" for any success; vq_ErrorGetString() for a general reason; for module
 *     #VQ_MODULE_BRK the text of its reason (those of the `BRK_E_` names, such as "SOME MODULES
 *     (DATA OR INTERFACES) WERE NOT RELEASED YET"); for module #VQ_MODULE_HDRPARS
 *     hdrpars_ErrorGetString(); "Unknown module" for a reason without text and for any other
 *     module. A constant of the library.
 * @threadsafety Any thread.
 */
SC_API const char *brk_ErrorGetString(VQRESULT code);

/**
 * The name of the submodule of a broker code.
 *
 * @param[in] code Any result code.
 * @return "Broker submodule" for submodule 1 of module #VQ_MODULE_BRK, "Unknown submodule" for
 *     another submodule, "Error originates in a sub module" for a code of another module. A
 *     constant of the library. (The broker has no module-name getter: use
 *     vq_ErrorGetModuleName().)
 * @threadsafety Any thread.
 */
SC_API const char *brk_ErrorGetSubModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_BRK_H */
