/*
 * A minimal snapshot framework host for libhitachifi.so, in C99.
 *
 *   hitachifi_cycle snapshot STATE UDID METHOD   take a snapshot of one device
 *   hitachifi_cycle restore STATE                restore it, in a new process
 *
 * snapshot: init, a node named "<hitachifi>" + UDID, init_node, preselect,
 * select, prepare, isready until the pair is ready (at most 60 s), make,
 * the provider state (get), fini. STATE keeps the node's name, the snapshot
 * and the provider state, which is all a later process needs.
 *
 * restore: init, the same node, init_node, the provider state (set), one
 * restore call with the source and the snapshot, fini. The set is not
 * needed by restore (it reads the devices from the array); a framework
 * hands the state back anyway, so this host does too.
 *
 * Build: cc -std=c99 hitachifi_cycle.c $(pkg-config --cflags --libs hitachifi)
 * The host does not export frim_alloc_buf, frim_free_buf or frim_get_objid,
 * so everything the plugin hands over is freed with free().
 */
#define _POSIX_C_SOURCE 200809L
#include <hitachifi.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { READY_WAIT_SECONDS = 60 };

static char session_id[] = "hitachifi-cycle";

/* One framework node of a device, named and identified alike. */
typedef struct {
  char name[256];
  frim_objid objid;
  zfi_domain domain;
  zfi_splitnode split;
  zfi_splitnode* list[1];
} host_node;

static void node_init(host_node* node, const char* name, char* method) {
  memset(node, 0, sizeof *node);
  snprintf(node->name, sizeof node->name, "%s", name);
  node->objid.name = node->name;
  node->objid.length = (uint32_t)strlen(node->name) + 1;
  node->domain.name = node->name;
  node->domain.objid = &node->objid;
  node->split.fim_name = method;
  node->split.node = &node->domain;
  node->list[0] = &node->split;
}

/* Prints every message the plugin queued, newest first, in English. */
static void print_messages(void) {
  zfi_msg_info* info = NULL;
  while (hitachifi_fi_pgn_get_last_error(&info) == ZFI_OK && info != NULL) {
    char* text = NULL;
    int length = 0;
    if (hitachifi_fi_pgn_get_locale_message(&length, info, "en_US", &text) == ZFI_OK)
      fprintf(stderr, "  %s (%d): %.*s\n", info->msg_id, info->msg_index, length, text);
    hitachifi_fi_pgn_del_locale_message(&text);
    hitachifi_fi_pgn_del_last_error(&info);
  }
}

static int check(const char* step, int rc) {
  if (rc == ZFI_OK) return 0;
  const char* meaning = "";
  hitachifi_fi_pgn_errmsg(rc, &meaning);
  fprintf(stderr, "%s failed with %d (%s)\n", step, rc, meaning);
  print_messages();
  return 1;
}

static int start(void) {
  char* languages[] = {"en_US", NULL};
  zfi_fw_info info = {NULL, NULL, NULL, languages};
  zfi_version version = {0, 0, 0, 0};
  int rc = hitachifi_fi_pgn_init(&info, &version, "hitachifi");
  if (check("init", rc)) return 1;
  printf("plugin interface %u.%u.%u.%u\n", version.major, version.minor, version.update, version.patch);
  return 0;
}

/* Polls isready with a bound of its own: a pair that is suspended by an
   error (PSUE) is never ready, and the plugin does not say so. */
static int wait_ready(host_node* node) {
  const struct timespec pause = {0, 50 * 1000 * 1000};
  time_t deadline = time(NULL) + READY_WAIT_SECONDS;
  for (;;) {
    node->domain.flags &= ~(uint32_t)ZFI_NODE_READY;
    if (check("isready", hitachifi_fi_pgn_isready(NULL, session_id, node->list, 1))) return 1;
    if (node->domain.flags & ZFI_NODE_READY) return 0;
    if (time(NULL) >= deadline) {
      fprintf(stderr, "the pair is not ready after %d s; look at its state (fihost check)\n",
              READY_WAIT_SECONDS);
      return 1;
    }
    nanosleep(&pause, NULL);
  }
}

static int take_snapshot(const char* state_file, const char* udid, char* method) {
  char name[256];
  snprintf(name, sizeof name, "<hitachifi>%s", udid);
  host_node node;
  node_init(&node, name, method);

  if (check("init_node", hitachifi_fi_pgn_init_node(&node.domain, NULL, 0, &node.objid))) return 1;
  if (check("preselect", hitachifi_fi_pgn_preselect(NULL, session_id, node.list, 1))) return 1;
  if (check("select", hitachifi_fi_pgn_select(NULL, session_id, node.list, 1))) return 1;
  if (check("prepare", hitachifi_fi_pgn_prepare(NULL, session_id, node.list, 1, 0))) return 1;
  if (wait_ready(&node)) return 1;

  frim_objid** made = NULL;
  int made_count = 0;
  if (check("make", hitachifi_fi_pgn_make(NULL, session_id, node.list, 1, &made, &made_count))) return 1;
  if (made == NULL || made_count != 1 || strcmp(made[0]->name, node.name) == 0) {
    fprintf(stderr, "make returned no snapshot for %s\n", node.name);
    return 1;
  }
  char snapshot[256];
  snprintf(snapshot, sizeof snapshot, "%s", made[0]->name);
  free(made[0]->name);
  free(made[0]);
  free(made);
  printf("snapshot of %s: %s\n", udid, snapshot);

  zfi_blob state = {0, NULL, 0};
  if (check("process_providerstate (get)",
            hitachifi_fi_pgn_process_providerstate(&node.domain, &state, ZFI_GET_PROVIDERSTATE)))
    return 1;
  FILE* out = fopen(state_file, "w");
  if (out == NULL || state.data == NULL) {
    fprintf(stderr, "cannot write %s\n", state_file);
    if (out) fclose(out);
    free(state.data);
    return 1;
  }
  /* The node's name, the snapshot, then the provider state's text. */
  fprintf(out, "%s\n%s\n%s", node.name, snapshot, (const char*)state.data);
  free(state.data);
  hitachifi_fi_pgn_deinit_node(&node.domain);
  return fclose(out) != 0;
}

static int restore_snapshot(const char* state_file, char* method) {
  static char text[65536];
  FILE* in = fopen(state_file, "r");
  size_t length = in ? fread(text, 1, sizeof text - 1, in) : 0;
  if (in) fclose(in);
  text[length] = '\0';
  char* snapshot = strchr(text, '\n');
  char* state = snapshot ? strchr(snapshot + 1, '\n') : NULL;
  if (state == NULL) {
    fprintf(stderr, "%s is not a state file of this host\n", state_file);
    return 1;
  }
  *snapshot++ = '\0';
  *state++ = '\0';

  host_node node;
  node_init(&node, text, method);
  if (check("init_node", hitachifi_fi_pgn_init_node(&node.domain, NULL, 0, &node.objid))) return 1;
  zfi_blob blob = {strlen(state) + 1, state, 0};
  if (check("process_providerstate (set)",
            hitachifi_fi_pgn_process_providerstate(&node.domain, &blob, ZFI_SET_PROVIDERSTATE)))
    return 1;

  frim_objid source = node.objid;
  frim_objid target = {(uint32_t)strlen(snapshot) + 1, 0, snapshot};
  frim_objid* sources[] = {&source};
  frim_objid* snapshots[] = {&target};
  /* Returns only once the pair is split again: a framework that must bound
     it runs restore in a process of its own. */
  int rc = hitachifi_fi_pgn_restore(sources, snapshots, 1, NULL, NULL, NULL, NULL, ZFI_RESTORE_START, NULL);
  if (check("restore", rc)) return 1;
  printf("restored %s from %s\n", node.name, snapshot);
  hitachifi_fi_pgn_deinit_node(&node.domain);
  return 0;
}

int main(int argc, char** argv) {
  static char method[64] = "Hitachi_ShadowImage";
  int snapshot = argc == 5 && strcmp(argv[1], "snapshot") == 0;
  int restore = argc == 3 && strcmp(argv[1], "restore") == 0;
  if (!snapshot && !restore) {
    fprintf(stderr, "usage: %s snapshot STATE UDID METHOD | restore STATE\n", argv[0]);
    return 2;
  }
  if (snapshot) snprintf(method, sizeof method, "%s", argv[4]);
  if (start()) return 1;
  int failed = snapshot ? take_snapshot(argv[2], argv[3], method) : restore_snapshot(argv[2], method);
  hitachifi_fi_pgn_fini();
  return failed ? 1 : 0;
}
