#ifndef HITACHIFI_H
#define HITACHIFI_H

/*
 * hitachifi: the exported C interface of libhitachifi.so, the snapshot
 * provider plugin for Hitachi and HP XP disk arrays. A snapshot framework
 * calls these 77 entry points; the 15 V_* bounded string functions are
 * exported beside them. The records and status codes are in zfi.h. The
 * reference for framework authors is docs/framework-authors.md (installed
 * in /usr/share/doc/hitachifi-dev/).
 *
 * How to read the contract above each declaration:
 *   in / out / in-out   direction of each pointer argument; "unread" means
 *                       the plugin neither reads nor writes it (pass NULL).
 *   Owns                who allocates each output and how it is freed.
 *                       "free()" means the C library's; "frim_free_buf" means
 *                       the framework's buffer function when the host
 *                       exports frim_alloc_buf/frim_free_buf/frim_get_objid,
 *                       else the plugin's own calloc blocks, freed with free().
 *   Returns             the result codes it can return (ZFI_* of zfi.h).
 *   [D]                 the once-per-process delayed initialisation (a scan
 *                       of the host's SCSI disks in sysfs) runs first; a
 *                       failure there returns 1 on that one call.
 *   Array               "no": no RAID Manager call. Otherwise the calls are
 *                       synchronous and the thread blocks for as long as
 *                       the RAID Manager library takes; the plugin adds no
 *                       timeout. The first call that reaches an array also
 *                       attaches its command device (an instance number is
 *                       taken under an fcntl lock shared with other
 *                       processes).
 *   Msg                 whether a failure queues a message for
 *                       get_last_error; "no" failures are traced only.
 *
 * Every entry point must be called by one thread at a time, init first and
 * fini last. Entry points catch no C++ exception; none is expected to leave
 * the plugin's snapshot operations.
 */

#include <stdarg.h>
#include <stddef.h>
#include <wchar.h>

#include "zfi.h"

#if defined(__GNUC__)
#define HITACHIFI_API __attribute__((visibility("default")))
#define HITACHIFI_PRINTF(format_index, first_arg) __attribute__((format(printf, format_index, first_arg)))
#else
#define HITACHIFI_API
#define HITACHIFI_PRINTF(format_index, first_arg)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ==== Start and stop ==================================================== */

/* Sets up the plugin and loads the RAID Manager library (/usr/lib/libsvrrm.so,
   under $FRIM_DLOPEN_ROOT when set), creates <cache>/hitachi/ (one level
   only). in info (may be NULL; info->languages[0], copied, is the messages'
   language; the record is not read after init returns), out version
   (the plugin writes 7.0.0.0 whatever the framework put there; it never
   refuses a version), in fim_name (kept, not used). Returns 0, 7 (NULL
   version: nothing else happens), 30 (the library cannot be loaded). Array:
   no (asks the library's version only). Msg: no. */
HITACHIFI_API int hitachifi_fi_pgn_init(zfi_fw_info* info, zfi_version* version, char const* fim_name);

/* Detaches every attached command device and drops the plugin's objects.
   Array: one detach per attached array. Msg: no (failures traced). */
HITACHIFI_API void hitachifi_fi_pgn_fini(void);

/* ==== Nodes ============================================================= */

/* Gives the node the private data the snapshot operations keep its device
   records in (found later by the name of node->objid). in-out node, unread
   children, child_count, objid. Returns 0, 3 (NULL node), 5 (before init).
   [D] Array: no. Msg: no. */
HITACHIFI_API int hitachifi_fi_pgn_init_node(zfi_domain* node, zfi_domain** children, int child_count,
                                             frim_objid* objid);

/* Gives alt_node (the snapshot-side node) private data of its own. unread
   node, in-out alt_node, unread parent. Returns 0, 3 (NULL alt_node), 5.
   [D] Array: no. Msg: no. */
HITACHIFI_API int hitachifi_fi_pgn_init_altnode(zfi_domain* node, zfi_domain* alt_node, zfi_domain* parent);

/* As init_altnode, for a remote alternate node. Returns 0, 3, 5. [D]
   Array: no. Msg: no. */
HITACHIFI_API int hitachifi_fi_pgn_init_remnode(zfi_domain* node, zfi_domain* alt_node, zfi_domain* parent);

/* Does nothing and returns nothing: the node's private data stays for the
   life of the process. unread node. Array: no. */
HITACHIFI_API void hitachifi_fi_pgn_deinit_node(zfi_domain* node);

/* *exists = 1 for a non-NULL node, else 0. in node, out exists. Returns 0.
   [D] Array: no. Msg: no. */
HITACHIFI_API int hitachifi_fi_pgn_check_node_existence(zfi_domain* node, int* exists);

/* Claims nothing: *claimed = NULL, *count = 0. unread objid, out claimed,
   out count. Returns 0. Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_claim(frim_objid* objid, frim_objid*** claimed, int* count);

/* Interposes nothing: *list = NULL, *count = 0. unread node, objids; out
   list, count. Returns 0. [D] Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_interpose(zfi_domain* node, frim_objid** objids, frim_objid*** list,
                                             int* count);

/* ==== Snapshot session: preselect, select, prepare, isready, make ======== */
/* The session is the plugin's in-memory record of one snapshot job in this
   process, named by session_id (NULL is taken as ""), created on first use.
   node: a single node that stands in for a one-element list when nodes is
   NULL and count 0; otherwise ignored. Only nodes whose name carries the
   "<hitachifi>" marker are worked on. */

/* Records the nodes in the session without touching the array. in node,
   session_id, nodes[count]. Returns 0. [D] Array: no. Msg: no. */
HITACHIFI_API int hitachifi_fi_pgn_preselect(zfi_splitnode* node, char* session_id, zfi_splitnode** nodes,
                                             int count);

/* Records the nodes in the session, then for each node not yet selected:
   reads its source LDEV and host group from the array and chooses its
   target (configured, else the pair's partner). in node, session_id,
   nodes[count]. Returns 0, -1 (no pair found: Msg), 3 (the device is a
   secondary: Msg; a configured target's method or array does not suit:
   no Msg), 5 (no private data: Msg), 6 (array or UDID failure: Msg); the
   first failing node ends the call, nodes before it stay selected. [D]
   Array: per node one LU-information read, a LUN scan of the host group's
   port on the first lookup of an LDEV (up to 2048 reads on Fibre Channel,
   cached), up to maxmmun pair-status reads for discovery, one read per
   target. */
HITACHIFI_API int hitachifi_fi_pgn_select(zfi_splitnode* node, char* session_id, zfi_splitnode** nodes,
                                          int count);

/* For each selected node not yet prepared: narrows its pairs to the chosen
   one, reads its state and starts a resync of a split (PSUS) pair; it
   does not wait for the copy. in node (ignored), session_id, nodes, count
   (ignored: the session's nodes are prepared), unread flags. Returns 0, 3
   (no pair to the target), 5 (Msg), 6 (a simplex pair or an array failure:
   Msg). [D] Array: per node up to maxmmun + 2 pair-status reads and at
   most one resync. */
HITACHIFI_API int hitachifi_fi_pgn_prepare(zfi_splitnode* node, char* session_id, zfi_splitnode** nodes,
                                           int count, int flags);

/* Reads each node's pair state and sets ZFI_NODE_READY in node->flags when
   it is PAIR (and in every alt_node's flags). A pair that is not ready
   leaves the flag clear and is not a failure. in node, unread session_id,
   in-out nodes[count]. Returns 0 (also for count < 1), 3 (NULL list or
   entry, no pair known: no Msg), 5 (Msg), 6 (array failure: Msg). [D]
   Array: one pair-status read per node. */
HITACHIFI_API int hitachifi_fi_pgn_isready(zfi_splitnode* node, char* session_id, zfi_splitnode** nodes,
                                           int count);

/* Splits each node's pair (a pair already split, PSUS, is taken as it is):
   the split target is the snapshot. in node, session_id, in-out
   nodes[count] (ZFI_NODE_MADE set in each node's flags), out objids, out
   objid_count. Owns: on 0, *objids is an array of *objid_count object ids
   in node order (each the snapshot's UDID; the node's own name for a node
   of the session that was not made, such as one without the marker; an
   empty text for a node the session does not know), the array from
   frim_alloc_buf (count * 8 bytes) and each id from frim_get_objid; the
   caller frees them (NULL with a non-zero count when an id could not be
   made). Returns 0, 5 (Msg), 6 (a pair in another state, "STAT_COPY",
   "STAT_SMPL" or "STAT_RCPY" for the rest, an unknown method or an array
   failure: Msg); the first failure ends the call, nodes before it stay
   split. [D] Array: per node two pair-status reads and one split. */
HITACHIFI_API int hitachifi_fi_pgn_make(zfi_splitnode* node, char* session_id, zfi_splitnode** nodes,
                                        int count, frim_objid*** objids, int* objid_count);

/* Kit default: 8 (the session for session_id is created first). unread
   element. [D] Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_update_snapshot_handle(char* session_id, zfi_snapreplica_ele* element);

/* ==== Provider state and restore ======================================== */

/* op ZFI_GET_PROVIDERSTATE: fills *block with the node's two device records
   as text (empty block, still 0, for a node without private data). Owns:
   block->data is malloc'd, freed with free(); block->length counts the
   terminator. op ZFI_SET_PROVIDERSTATE: reads a block the framework kept
   into the node's private data (created if missing), in this or another
   process. The block does not carry the source's LUN: isready, prepare and
   make after a set address the wrong LUN; restore does not need a set.
   Other op values do nothing. in node, in-out block, in op. Returns 0, 3
   (GET with NULL block: no Msg), 6 (SET with NULL block or data: no Msg;
   an unreadable record: Msg); a SET on a node without private data that
   cannot get any queues MSG_ERROR_PRIVATE_DATA_MALLOC and returns 0. [D]
   Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_process_providerstate(zfi_domain* node, zfi_blob* block,
                                                         zfi_op_providerstate op);

/* Copies each snapshot back onto its source: a reverse resync of every
   pair, then polls, without delay and without a time limit, until each
   pair is split again. in sources[count] and snapshots[count], index-aligned
   object ids named by UDID text (a node name with the "<hitachifi>" marker
   before the UDID also reads), in count, unread reserved1, reserved2,
   paths, path_count, status, in flags (0 or any value with
   ZFI_RESTORE_START or ZFI_RESTORE_PARTIAL). No entry may be NULL. Needs no
   provider-state set: the devices are read from the array. Returns 0, 3
   (flags: no Msg), 6 (a pair that cannot be reversed, e.g. COPY or PSUE:
   no Msg, traced "syncPair failed"; an array or UDID failure: Msg). [D]
   Array: unbounded by design; returns only when every pair is split again
   or an array call fails. */
HITACHIFI_API int hitachifi_fi_pgn_restore(frim_objid** sources, frim_objid** snapshots, long count,
                                           char* reserved1, char* reserved2, char*** paths, long* path_count,
                                           long flags, long* status);

/* ==== Configuration, enumeration, control ============================== */

/* mode ZFI_CONFIG_SET: takes the parameter XML (<parameters><parameter
   name=".." value=".."/></parameters>) and reloads the snapshot targets
   from "snapshot_resource_spec"; all or nothing. node and the
   zfi_confspec block are not read; mode and xml are inputs. Returns 0, 3 (NULL or bad XML, refused targets: traced
   at level 1, no Msg), 8 (other modes). [D] Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_config(zfi_domain* node, int mode, char* xml, zfi_confspec* spec);

/* The provider "hitachifi", version 7.0.0.0, and its two UDID prefixes. out
   list. Owns: every element, text and prefix array is a frim_alloc_buf
   block the caller frees (zfi.h). Returns 0. Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_get_provider_info(zfi_provider_list** list);

/* The four snapshot methods. out list. Owns: as get_provider_info.
   Returns 0. Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_enumerate_fims(zfi_fim_list** list);

/* Runs the kit's objctl on command and the argument text input (one
   name=value line each, %XX escapes), storing the operation's result
   (8 here: no command is offered) in *result. in command, input; out
   output, result. Owns: *output is strdup'd, freed with free(). Returns 0
   (the operation's status is in *result). [D] Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_objctl(char* command, char* input, char** output, long* result);

/* Ordinary import (flags without ZFI_IMPORT_OFFHOST) needs nothing: 0.
   in resource_names (NULL-terminated, may be NULL), in node_name, unread
   a2, a3, a5, a6, in flags. Returns 0, 4 (ZFI_IMPORT_OFFHOST: traced at
   level 1, no Msg). [D] Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_import_resource(char** resource_names, char* node_name, char* a2, char* a3,
                                                   int flags, char** a5, char* a6);

/* Kit: 3 unless names and out are non-NULL and count is 0, then 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_translate_resource_names(char** names, int count, char** out);

/* ==== Messages ========================================================== */

/* The newest queued message. out info. Owns: *info (NULL when none) is the
   plugin's; give it back with del_last_error. Returns 0, 3 (NULL info; or
   called before init). Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_get_last_error(zfi_msg_info** info);

/* Frees *info (may be NULL), sets it NULL and drops the newest message.
   in-out info. Returns 0, 3 (no message queued). Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_del_last_error(zfi_msg_info** info);

/* Formats info in locale (NULL: init's language; unknown: English). out
   length (bytes of the UTF-8 text, terminator not counted), in info, in
   locale, out text. Owns: *text is the plugin's; free with
   del_locale_message. Returns 0, 3 (NULL text, info or info->msg_id),
   5. Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_get_locale_message(int* length, zfi_msg_info* info, char const* locale,
                                                      char** text);

/* Frees *text and sets it NULL. in-out text. Returns 0, 3 (NULL text).
   Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_del_locale_message(char** text);

/* A fixed English text for a status code. in code, out text (static: never
   freed). Returns 0, 3 (NULL text). Array: no. */
HITACHIFI_API int hitachifi_fi_pgn_errmsg(int code, char const** text);

/* ==== Kit defaults ====================================================== */
/* The plugin does not override these: none reads its arguments (but for the
   NULL checks named), calls the array or queues a message. "[D]": runs the
   delayed initialisation first, so it may also return 1. */

/* Nothing to quiesce: a split is consistent by itself. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_quiesce(zfi_quiescenode* node, zfi_quiescenode** nodes, int count,
                                           char* mode);
/* Nothing to undo. Returns nothing. */
HITACHIFI_API void hitachifi_fi_pgn_unquiesce(zfi_quiescenode* node, zfi_quiescenode** nodes, int count);
/* Accepts every combination. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_verify_qscombos(zfi_splitnode* node, zfi_splitnode** nodes, int count);
/* Accepts and ignores the import options. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_set_import_options(zfi_splitnode* node, zfi_splitnode** nodes, int count,
                                                      zfi_host_infn* hosts, int host_count, void* data);
/* No cache to switch off. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_cache_disable(zfi_domain* node);
/* No cache to switch on. Returns nothing. */
HITACHIFI_API void hitachifi_fi_pgn_cache_enable(zfi_domain* node);
/* Nothing before prepare. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_pre_prepare(zfi_domain* node);
/* Nothing to revisit. Returns 0. */
HITACHIFI_API int hitachifi_fi_pgn_revisit_pgn_nodes(zfi_pgn_node_list* nodes);
/* Notification, ignored. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_set_op_status(zfi_domain* node, int status);
/* Notification, ignored. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_set_comp_status(zfi_domain* node, int status, char* text, int code);
/* Nothing after a deport. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_post_deport(zfi_domain* node, zfi_domain* alt_node);

/* Empty list: *list = NULL, *count = 0 (each when non-NULL). Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_subobj_list(zfi_domain* node, frim_objid*** list, int* count);
/* Empty list: *list = NULL, *count = 0. Returns 0. */
HITACHIFI_API int hitachifi_fi_pgn_enumerate_nodes(zfi_node_list** list, int* count, int type, char* filter);
/* Empty list: *list = NULL. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_enumerate_associations(zfi_assoc_list** list);
/* Empty list: *list = NULL. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_enumerate_group_nodes(zfi_group_node_list** list);
/* Empty list: *list = NULL. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_get_associated_nodes(zfi_node* node, zfi_node_list** list);
/* Empty list: *list = NULL, *count = 0. Returns 0. */
HITACHIFI_API int hitachifi_fi_pgn_enumerate_enclosures(zfi_enclosure_node_list** list, int* count,
                                                        char* filter);
/* Empty list: *list = NULL, *count = 0. Returns 0. */
HITACHIFI_API int hitachifi_fi_pgn_enumerate_host_nodes(zfi_host_node_list** list, int* count, char* filter);
/* Empty list: *list = NULL, *count = 0. Returns 0. [D] */
HITACHIFI_API int hitachifi_fi_pgn_query_valid_secondaries(char* name, frim_objid*** list, long* count);

/* Not offered: returns 8 (ZFI_E_NOT_SUPPORTED). */
HITACHIFI_API int hitachifi_fi_pgn_supports_fitype(zfi_domain* node, char* fi_type);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_deport_tree(zfi_domain* node, zfi_domain* alt_node,
                                               zfi_accessnode* access);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_import_tree(zfi_domain* node, frim_objid** objids, frim_objid** alt_objids,
                                               int count, frim_objid** out);
/* Not offered: returns 8. */
HITACHIFI_API int hitachifi_fi_pgn_reaccess_tmpobj(zfi_domain* node, frim_objid* objid, char* name,
                                                   zfi_domain* alt_node, char* alt_name, zfi_intent intent);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_reaccess_altnode(zfi_domain* node, frim_objid* objid,
                                                    frim_objid* alt_objid, char* name, frim_objid** objids,
                                                    frim_objid** alt_objids, int count, zfi_intent intent);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_dispose(zfi_domain* node, zfi_domain* alt_node, zfi_splitnode* split,
                                           zfi_disposition disposition);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_online(zfi_domain* node, zfi_domain* alt_node, int count,
                                          zfi_disposition disposition);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_build_alttree(zfi_domain* node, char* name, frim_objid** objids,
                                                 frim_objid** alt_objids, int count, frim_objid** out);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_start_build_alttree(zfi_domain* node, frim_objid** objids, void* data);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_getattr(zfi_domain* node, zfi_domain* alt_node, zfi_splitnode* split,
                                           zfi_attributes* attributes);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_isvalid_node_association(zfi_assoc* association, int* valid);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_enable_access(zfi_node_subobj_list* list, long count, int mode, int flags);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_disable_access(zfi_node_subobj_list* list, long count);
/* Not offered (restore resynchronises): returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_resync(frim_objid** sources, frim_objid** snapshots, long count,
                                          char* reserved1, char* reserved2, long flags, long* status);
/* Not offered (read a pair's state as fihost check does): returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_get_status(frim_objid** sources, frim_objid** snapshots, long count,
                                              char* reserved, long flags, long* status);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_res_status(frim_objid* objid, long flags, long* status,
                                              zfi_msg_info** info);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_format(char** names, int count, char* a2, char* a3, char* a4, int flags,
                                          char*** out, int* out_count);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_online_resource(char** names, int count, char* a2, char* a3, char* a4,
                                                   char* a5, int flags, char*** out, int* out_count);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_deport_resource(char* name, char* a1, char* a2, char* a3, int flags);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_is_parent_pgn(char* name, int* is_parent, int flags);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_unformat(char** names, int count, int flags);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_pre_deport_resource(char* name, int flags, char* text);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_refresh_tree(zfi_domain* node, int a1, int a2, zfi_resource* resources,
                                                int count, int* out, void* data, int flags);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_get_backupset(zfi_domain* node, int a1, char** names, int count,
                                                 zfi_bkupset* set);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_get_app_status(zfi_domain* node, int a1, void* status);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_set_restorepaths(zfi_domain* node, char* paths, int count);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_createSnapReplicaNode(zfi_domain* node, zfi_snapreplica_ele* element);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_update_snapshot_id(zfi_domain* node, zfi_domain* alt_node,
                                                      zfi_snapreplica_ele* element, int flags);
/* Not offered: *id = NULL (when id is non-NULL), returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_getSnapshotSetId(zfi_domain* node, char** id);
/* Not offered: returns 8. [D] */
HITACHIFI_API int hitachifi_fi_pgn_get_snapdiff(zfi_domain* node, zfi_snapreplica_ele* first,
                                                zfi_snapreplica_ele* second, TrieNode_* tree);

/* ==== Bounded string functions ========================================== */
/* Sizes count characters of the destination, terminator included; nothing
   is written past them. A NULL pointer or a size of 0 writes nothing.
   They allocate nothing (but V_vsnwprintf's scratch copy and
   V_dumb_realloc), call no array and queue no message. */

/* Copies src; returns the characters copied (not src's length). */
HITACHIFI_API size_t V_strlcpy(char* dst, const char* src, size_t size);
HITACHIFI_API size_t V_wcslcpy(wchar_t* dst, const wchar_t* src, size_t size);
/* Appends src after dst's text; returns the characters appended, 0 when no
   room is left or dst has no terminator within size. */
HITACHIFI_API size_t V_strlcat(char* dst, const char* src, size_t size);
HITACHIFI_API size_t V_wcslcat(wchar_t* dst, const wchar_t* src, size_t size);
/* Copies at most n characters and zero-fills up to that limit; returns the
   limit min(n, size - 1), not the text's length. */
HITACHIFI_API size_t V_strlncpy(char* dst, const char* src, size_t n, size_t size);
HITACHIFI_API size_t V_wcslncpy(wchar_t* dst, const wchar_t* src, size_t n, size_t size);
/* Appends at most n characters of src; returns the characters appended. */
HITACHIFI_API size_t V_strlncat(char* dst, const char* src, size_t n, size_t size);
HITACHIFI_API size_t V_wcslncat(wchar_t* dst, const wchar_t* src, size_t n, size_t size);
/* 0 when text has a terminator within size (*length = its index), else -1
   (*length = 0). length may be NULL. */
HITACHIFI_API int V_strverify(const char* text, size_t size, size_t* length);
HITACHIFI_API int V_wstrverify(const wchar_t* text, size_t size, size_t* length);
/* Formats into buffer; returns the characters stored (a cut text stores
   size - 1), 0 for an encoding error (buffer emptied), -1 for a NULL buffer
   or size 0. */
HITACHIFI_API int V_vsnprintf(char* buffer, size_t size, const char* format, va_list args);
HITACHIFI_API int V_snprintf(char* buffer, size_t size, const char* format, ...) HITACHIFI_PRINTF(3, 4);
/* Formats through a scratch buffer and copies it, cut to size; returns what
   vswprintf returns (-1 when the text was cut), -1 for size 0. */
HITACHIFI_API int V_vsnwprintf(wchar_t* buffer, size_t size, const wchar_t* format, va_list args);
HITACHIFI_API int V_snwprintf(wchar_t* buffer, size_t size, const wchar_t* format, ...);
/* realloc(*block, size) stored back in *block; on failure the old block is
   freed and *block is NULL. Returns *block (NULL for a NULL block). */
HITACHIFI_API void* V_dumb_realloc(void** block, size_t size);

#ifdef __cplusplus
}
#endif

#endif
