/* brk_: the component broker. A class is the registry of the engines and add-ons installed
 * below one root directory; objects opened on it (bound to one engine, or to none) reach
 * components by broker string: their modules' numbered interfaces, their data blocks and
 * their header values. Broker strings, paths, names, languages and versions crossing this
 * interface are 8-bit (UTF-8) strings; header values are UTF-16. */
#ifndef SC_BRK_H
#define SC_BRK_H

#include "sc_common.h"
#include "sc_brk_codes.h" /* the family's result codes by name (generated) */

SC_EXTERN_C_BEGIN

/* Opaque handles. */
typedef struct BrkClass BrkClass;
typedef struct BrkObject BrkObject;
typedef struct BrkData BrkData;

/* Asked when a broker string cannot be resolved. zero is always 0. The callback may point
 * *replacement at a broker string of its own (the broker copies it and never frees it);
 * returning exactly 1 asks the broker to try again, with the replacement when one was given,
 * else after rescanning the directories. A callback must stop asking for retries. */
typedef int (*BrkResolveCallback)(const char *brokerString, uint32_t zero,
                                  const char **replacement);

/* A component module's entry point, exported under the name in its GETINTERFACE tag. For
 * interface id 0 it writes the address of its BrkModuleTable; for any other id the interface,
 * returning exactly 0 on success. */
typedef VQRESULT (*BrkGetInterface)(uint32_t interfaceId, void **out);

/* Called once after the module is loaded, with the object that caused the load, the class's
 * heap instance and the module's instance handle to fill (g_vqNullHandle until then). A
 * failure code refuses the load. */
typedef VQRESULT (*BrkModuleInitialize)(BrkObject *object, HeapInstance heap, SafeHandle *instance);
/* Called before the module is unloaded, with its instance handle; the result is ignored. */
typedef VQRESULT (*BrkModuleFinalize)(SafeHandle instance);

/* What a module's entry point gives for interface id 0. The first two entries are a matter
 * between engines and their components; the broker calls the initialiser and the finaliser,
 * either of which may be null. */
typedef struct BrkModuleTable {
  void (*reserved1)(void);
  void (*reserved2)(void);
  BrkModuleInitialize initialize;
  BrkModuleFinalize finalize;
} BrkModuleTable;

typedef struct BrkComponentInfo {
  char *brokerString;   /* owned by the list */
  const char16_t *name; /* the component's NAME value, borrowed from the registry */
  char *version;        /* owned by the list, or null */
  char *language;       /* owned by the list, or null; always null for engines */
  uint32_t priority;    /* always 0 for engines */
} BrkComponentInfo;

typedef struct BrkComponentList {
  uint32_t count;            /* entries in use */
  BrkComponentInfo *entries; /* room for capacity entries, grown 8 at a time */
  uint32_t capacity;
} BrkComponentList;

/* Classes. The lock of brk_ClassOpen is lent (a critsec_ObjOpen lock that the caller keeps
 * until after brk_ClassClose); brk_ClassOpenEx makes its own from the resource. */
SC_API VQRESULT brk_ClassOpen(BrkClass **out, const char *rootDirectory, HeapInstance heap,
                              LockValue lock, BrkResolveCallback classCallback);
SC_API VQRESULT brk_ClassOpenEx(BrkClass **out, const char *rootDirectory, ResourceHandle resource,
                                BrkResolveCallback classCallback);
/* Refused (BRK_E_STILL_IN_USE) while objects are open or shared add-ons are in use. */
SC_API VQRESULT brk_ClassClose(BrkClass *cls);

/* Objects. A null or empty brokerString opens an object without engine, which reaches only
 * the shared add-ons. The last object on an engine cannot close while modules or data blocks
 * of the engine or its add-ons are held (BRK_E_STILL_IN_USE). brk_ObjOpenEx and brk_ObjCloseEx are
 * the same operations. */
SC_API VQRESULT brk_ObjOpen(BrkObject **out, const char *brokerString, const char *language,
                            BrkClass *cls, BrkResolveCallback objectCallback);
SC_API VQRESULT brk_ObjClose(BrkObject *object);
SC_API VQRESULT brk_ObjOpenEx(BrkObject **out, const char *brokerString, const char *language,
                              BrkClass *cls, BrkResolveCallback objectCallback);
SC_API VQRESULT brk_ObjCloseEx(BrkObject *object);

/* Interfaces: each successful query is paired with one release of the interface pointer. A
 * component whose DLL value leads out of the component root (with "..") is refused with
 * BRK_E_MODULE_OUTSIDE_ROOT and nothing is loaded. */
SC_API VQRESULT brk_InterfaceQuery(BrkObject *object, const char *brokerString, uint8_t interfaceId,
                                   SafeHandle *instance, void **interface);
SC_API VQRESULT brk_InterfaceRelease(BrkObject *object, void *interface);

/* Data blocks, named "component:block" ("data" when no block name is given). The handle is
 * shared and counted; a map yields exactly the range asked for (size 0: the whole block). */
SC_API VQRESULT brk_DataOpen(BrkObject *object, const char *brokerString, BrkData **out);
SC_API VQRESULT brk_DataClose(BrkObject *object, BrkData *data);
SC_API VQRESULT brk_DataMap(BrkObject *object, BrkData *data, uint32_t offset, uint32_t size,
                            const void **address);
SC_API VQRESULT brk_DataUnmap(BrkObject *object, BrkData *data, const void *address);
SC_API VQRESULT brk_DataSizeQuery(BrkObject *object, BrkData *data, uint32_t *size);

/* Header values of engines, add-ons and ("component:block") data blocks. The value belongs
 * to the registry: valid while the component's record lives, never freed by the caller. */
SC_API VQRESULT brk_TagQuery(BrkObject *object, const char *brokerString, const char *tagName,
                             const char16_t **value);
SC_API VQRESULT brk_TagRelease(BrkObject *object, const char16_t *value);

/* Queries. Engine types list the class's engines; other types the add-ons the object reaches,
 * its engine's first. */
SC_API VQRESULT brk_ComponentListQuery(BrkObject *object, const char *componentType,
                                       BrkComponentList **out);
SC_API VQRESULT brk_ComponentListRelease(BrkObject *object, BrkComponentList *list);
SC_API VQRESULT brk_BrokerStringQuery(BrkObject *object, const char *componentType,
                                      const char *name, char **out);
SC_API VQRESULT brk_BrokerStringRelease(BrkObject *object, char *string);
/* An engine's or add-on's module path (BRK_E_MODULE_OUTSIDE_ROOT when it leads out of the
 * component root), or the broker string that a "/def" string selects. */
SC_API VQRESULT brk_InfoQuery(BrkObject *object, const char *brokerString, char **out);
SC_API VQRESULT brk_InfoRelease(BrkObject *object, char *string);

SC_API const char *brk_ErrorGetString(VQRESULT code);
SC_API const char *brk_ErrorGetSubModuleName(VQRESULT code);

SC_EXTERN_C_END

#endif /* SC_BRK_H */
