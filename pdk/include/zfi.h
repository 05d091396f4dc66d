#ifndef ZFI_INTERFACE_H
#define ZFI_INTERFACE_H

/*
 * The snapshot framework's interface as a provider plugin sees it: the
 * records that cross the exported entry points, the status codes and flags,
 * and the framework's buffer and object-id functions.
 *
 * Records the plugin reads are laid out here in full; the others are opaque
 * (the plugin only passes their pointers on). Layout rules a host must keep:
 *   - zfi_splitnode: FIM name first, node second, optional second node third.
 *   - zfi_domain: a 32-bit type word, then the 32-bit flags word (second
 *     32-bit word), then the node's name text, its object id and the slot
 *     for the plugin's private data.
 *   - zfi_fw_info: the fourth pointer-sized member points to the list of
 *     language strings; the first is the native language of messages.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes. 0 is success; the rest are what the plugin returns. */
enum {
  ZFI_OK = 0,
  ZFI_E_DELAYED_INIT = 1,  /* delayed initialisation failed on this call */
  ZFI_E_FAILED = 2,        /* generic failure of a kit default */
  ZFI_E_INVALID = 3,       /* refused request or invalid argument */
  ZFI_E_USE_SESSION = 4,   /* use the session form; refused import mode */
  ZFI_E_NO_PRIVDATA = 5,   /* private data cannot be allocated */
  ZFI_E_REPORTED = 6,      /* failure reported through the error manager */
  ZFI_E_VERSION = 7,       /* null version record at init */
  ZFI_E_NOT_SUPPORTED = 8, /* operation not offered by this provider */
  ZFI_E_RMLIB = 30         /* RAID Manager library cannot be initialised */
};

/* Modes of the config operation. */
enum {
  ZFI_CONFIG_SET = 1 /* text: the parameter XML with the values to take */
};

/* Bits of zfi_domain.flags. */
enum {
  ZFI_NODE_MADE = 0x1, /* set by make for each node it returns */
  ZFI_NODE_READY = 0x8 /* set by isready for a node ready to be split */
};

/* Restore flags word (restore accepts 0 and any value with one of the bits). */
enum { ZFI_RESTORE_DEFAULT = 0x0, ZFI_RESTORE_START = 0x1, ZFI_RESTORE_PARTIAL = 0x100 };

/* Object identifier: the framework's handle of an object, named by a text. */
typedef struct frim_objid {
  uint32_t length; /* bytes of name, terminator included */
  uint32_t flags;
  char* name;
} frim_objid;

/* A node of the framework's object tree. */
typedef struct zfi_domain {
  uint32_t type;
  uint32_t flags;     /* ZFI_NODE_* bits */
  char* name;         /* "<hitachifi>" + the device's UDID; other names are not the plugin's */
  frim_objid* objid;  /* the node's object */
  void* private_data; /* the plugin's slot; the framework never reads it */
  struct zfi_domain* parent;
} zfi_domain;

/*
 * Private data. The plugin keeps what it learns of a node (its devices and
 * their pair) in private data of its own, found by the name of the node's
 * object id: a framework names each node's object id exactly like the node
 * (zfi_domain.name), and fills no private_data slot itself. The plugin gives
 * a node its private data at init_node (init_altnode / init_remnode: the
 * second argument is the alternate node, which gets private data of its
 * own), or, for a node that has none by then, when select adds it to the
 * session. A node without private data is refused with
 * MSG_ERROR_PRIVATE_DATA_MALLOC and the result 5. isready reads private
 * data and never creates it. deinit_node releases what the plugin attached
 * to that node (for an alternate node, deinit_node of the alternate); once
 * no node of that name holds it, it is gone.
 */
/*
 * Sessions. select, preselect, prepare, make and update_snapshot_handle name
 * a session by the framework's session id; select and preselect add the
 * nodes to it, and prepare and make work on the nodes select added. The
 * plugin keeps a session until it has been untouched by these calls for a
 * week (isready does not count), so a session between select and make is
 * never forgotten for its age. A safety cap of 4096 sessions forces out the
 * least recently used one when a new id arrives, traced at level 1 with its
 * id. prepare and make of an id the plugin does not know (never selected, or
 * forgotten) work on an empty session: they return 0, make returns an empty
 * object id per node and nothing is done on the array.
 */
/* A node handed to select, prepare, make and isready. */
typedef struct zfi_splitnode {
  char* fim_name; /* the snapshot method chosen for the node */
  zfi_domain* node;
  zfi_domain* alt_node; /* optional second node (the snapshot side), may be null */
} zfi_splitnode;

/*
 * An opaque block of bytes the framework keeps for the provider (the
 * provider state of a node, process_providerstate). `length` counts the
 * bytes at `data`; a provider never reads past it, terminator or not.
 */
typedef struct zfi_blob {
  uint64_t length;
  void* data;
  uint32_t flags;
} zfi_blob;

/* Severity of a message. */
typedef enum zfi_eseverity {
  ZFI_SEV_INFO = 0,
  ZFI_SEV_WARNING = 1,
  ZFI_SEV_ERROR = 2,
  ZFI_SEV_CRITICAL = 3
} zfi_eseverity;

/* One argument of a message, as the framework receives it. */
typedef enum zfi_msg_arg_type { ZFI_MSG_ARG_STRING = 0, ZFI_MSG_ARG_INT = 1 } zfi_msg_arg_type;
typedef struct zfi_msg_arg {
  zfi_msg_arg_type type;
  int64_t int_value;
  char* str_value;
} zfi_msg_arg;

/* A message reported by the provider (get_last_error). */
typedef struct zfi_msg_info {
  int msg_index; /* catalog index, message index offset applied */
  zfi_eseverity severity;
  char* msg_id; /* e.g. "MSG_ERROR_HITACHI_COMMAND_FAILED" */
  char* text;   /* English text with its arguments */
  int arg_count;
  zfi_msg_arg* args;
  char* file; /* where the message is defined */
  int line;
} zfi_msg_info;

/* The framework's own information record, given to init. */
typedef struct zfi_fw_info {
  void* reserved0;
  void* reserved1;
  void* reserved2;
  char** languages; /* null-terminated list; languages[0] is the native one */
} zfi_fw_info;

/* The interface version the plugin answers at init. */
typedef struct zfi_version {
  uint16_t major;
  uint16_t minor;
  uint16_t update;
  uint16_t patch;
} zfi_version;

typedef enum zfi_intent { ZFI_INTENT_NONE = 0, ZFI_INTENT_BACKUP = 1, ZFI_INTENT_RESTORE = 2 } zfi_intent;
typedef enum zfi_disposition { ZFI_DISP_NONE = 0, ZFI_DISP_KEEP = 1, ZFI_DISP_DELETE = 2 } zfi_disposition;
/*
 * Requests of process_providerstate(node, block, op):
 *   ZFI_SET_PROVIDERSTATE: the framework hands back a block it kept; the
 *     provider reads it into the node (6 when the block or its bytes are null).
 *   ZFI_GET_PROVIDERSTATE: the provider clears the block and fills it; the
 *     bytes are one malloc'd block (terminator counted in `length`) that the
 *     framework frees with free().
 * Any other value is accepted and does nothing.
 */
typedef enum zfi_op_providerstate {
  ZFI_SET_PROVIDERSTATE = 0,
  ZFI_GET_PROVIDERSTATE = 1,
  ZFI_PS_SET = ZFI_SET_PROVIDERSTATE,
  ZFI_PS_GET = ZFI_GET_PROVIDERSTATE,
  /* The type holds any int a framework may send, negative ones too: without
     the lower bound a negative request is outside the type's values and
     reading it is undefined, where it must be accepted and do nothing. */
  ZFI_PROVIDERSTATE_ANY_NEGATIVE = -0x7fffffff - 1,
  ZFI_PROVIDERSTATE_ANY = 0x7fffffff
} zfi_op_providerstate;

/*
 * Import of a node on this host: import_resource(resource_names, node_name,
 * a2, a3, import_flags, a5, a6) hands the import flags to the provider.
 * resource_names is a null-terminated list (or null); node_name may be null;
 * the other arguments are passed on unread. A provider refuses an import
 * mode it cannot serve with 4 and accepts flags it does not know.
 */
enum {
  ZFI_IMPORT_DEFAULT = 0x0, /* the ordinary import: the node's devices are already seen here */
  ZFI_IMPORT_OFFHOST = 0x2  /* the snapshot is to be brought to another host */
};

/* Records that the plugin only passes on. */
typedef struct zfi_node zfi_node;
typedef struct zfi_accessnode zfi_accessnode;
typedef struct zfi_confspec zfi_confspec;
typedef struct zfi_quiescenode zfi_quiescenode;
typedef struct zfi_attributes zfi_attributes;
typedef struct zfi_node_list zfi_node_list;
typedef struct zfi_assoc zfi_assoc;
typedef struct zfi_assoc_list zfi_assoc_list;
typedef struct zfi_group_node_list zfi_group_node_list;
typedef struct zfi_node_subobj_list zfi_node_subobj_list;
typedef struct zfi_pgn_node_list zfi_pgn_node_list;
typedef struct zfi_host_infn zfi_host_infn;
typedef struct zfi_enclosure_node_list zfi_enclosure_node_list;
typedef struct zfi_host_node_list zfi_host_node_list;
typedef struct zfi_resource zfi_resource;
typedef struct zfi_bkupset zfi_bkupset;
typedef struct zfi_snapreplica_ele zfi_snapreplica_ele;
typedef struct TrieNode_ TrieNode_;

/* ---- Provider and FIM lists (get_provider_info, enumerate_fims) -------- */
/*
 * Singly linked; the plugin builds them, the framework owns and frees them.
 * Every element, every text and the prefix array is its own frim_alloc_buf
 * block, so the framework walks the list and frees each block with
 * frim_free_buf (an element: sizeof the element; a text: its length + 1;
 * the prefix array: (prefix_count + 1) pointers). Texts are never null in a
 * list the kit built.
 */
typedef struct zfi_provider_list {
  struct zfi_provider_list* next;
  char* name;
  uint16_t version[4];
  int first_attribute;
  int second_attribute;
  char** udid_prefixes; /* null-terminated */
  int prefix_count;
} zfi_provider_list;

typedef struct zfi_fim_list {
  struct zfi_fim_list* next;
  char* name;
  int consistency_class;
  int fim_type;
  int sync_type;
  int technology; /* 1 full copy, 0 copy-on-write */
  int first_number;
  int second_number;
  char* display_name;
  char* version;
  char* text;
} zfi_fim_list;
/* ---- End of provider and FIM lists ------------------------------------- */

/*
 * Framework buffer and object-id functions. A host may supply them; the kit
 * uses the host's when the process has them and its own otherwise.
 *   frim_alloc_buf: a zeroed block of `size` bytes, or null.
 *   frim_free_buf: frees a block from frim_alloc_buf (`size` as allocated).
 *   frim_get_objid: a new object id named by the first `length` bytes of
 *     `text` (terminator included); `flags` is stored in it. Null on failure.
 */
void* frim_alloc_buf(size_t size);
void frim_free_buf(void* buffer, size_t size);
frim_objid* frim_get_objid(const char* text, size_t length, int flags);

#ifdef __cplusplus
}
#endif

#endif
