/* SPDX-License-Identifier: MIT */
/*
 * kt3 management interface: the C side. The calls that take C++ types are in kt3_mgmt_interface_cxx.h.
 *
 * CMake finds the library with find_package(kt3-mgmt 23) as the target kt3::kt3_mgmt_interface, pkg-config as
 * kt3-mgmt; both packages carry the interface version. Other programs open libkt3_mgmt_interface.so at run time.
 *
 * Conventions
 *
 *  1. Order of calls. gfx_find_adapter fills a find_adapter record; the client writes a slot number into
 *     `current_index` and calls gfx_global_init, which binds that adapter; then any reading or setting call;
 *     gfx_global_exit ends the binding. Version negotiation and set_print_callback may come first. Before an adapter
 *     is bound, its nodes and its debugfs directory count as missing; preferences and page tables need no adapter.
 *  2. Threads and signals. The library has no thread and takes no lock: drive it from one thread at a time, and not
 *     from a signal handler. A call needs at most 32 KiB of stack of its own; one that a signal interrupts goes on
 *     afterwards. A print callback may call the library.
 *  3. Ownership. Records and arrays belong to the client, who zeroes them before the first use. The library writes
 *     only the fields marked as written here and keeps no pointer to a record, with one exception: pCurrent_gpu_infos
 *     points into the find_adapter record given to gfx_global_init or gpuinfo_select_new_chip, so that record must
 *     outlive every later call up to gfx_global_exit. A null pointer is skipped: nothing is written through it, and a
 *     call that reports failures reports one. The format of lib_print_func must not be null.
 *  4. Results. Calls return a signed 32-bit integer. Thin calls return 0 whatever happened and report failure by
 *     unchanged or zeroed output; set-up calls return 0, or -1 on failure; gfx_global_init returns the chip id or -1;
 *     a few readers return 1 or -1. Outputs stay untouched on failure unless the call says otherwise.
 *  5. Messages. Two channels, never mixed. Log lines go to the callback set with set_print_callback, until then to
 *     standard output through printf; a null callback stops them. Each carries its own newline, some a space after it.
 *     Lines that the calls below send to "standard output" are written there with a newline, whatever callback is set.
 *     So are "init_100_priority, init print callback." when the library is loaded and "uninit_100_priority." when it
 *     is unloaded or the process ends: set_print_callback(NULL) stops neither. A tool that keeps its standard output
 *     clean opens the library after descriptor 1 has become standard error, and writes to a copy of its own:
 *         int own_output = dup(1);
 *         dup2(2, 1);
 *         void* library = dlopen("libkt3_mgmt_interface.so", RTLD_NOW);
 *     A program that is linked with the library gets the first line before its main function runs.
 *  6. Exceptions. A malformed number in the driver's text about allocations, devices or page tables leaves the call as
 *     the C++ standard error std::invalid_argument or std::out_of_range with the text "stoi" or "stoll". The calls
 *     that can raise these errors say so. A C client cannot catch them: its process ends. Nothing else is thrown,
 *     except std::bad_alloc.
 *  7. Descriptors. Those that gfx_find_adapter opens for an adapter (DRM node, sysfs, info and hwmon directories) stay
 *     open until the process ends, also after gfx_global_exit. No other call leaves one open. All are close-on-exec.
 *  8. What lasts. The facts that summaries keep, the register record as last read, the segment source, the tracked
 *     allocations, the held raw list and the page-table snapshot belong to the library, not to an adapter: neither
 *     gfx_global_exit nor binding another adapter clears them.
 *  9. End of the process. The library's lists are destroyed when the library is unloaded or the process ends. A call
 *     made after that, by an exit handler or a destructor that is older than the library, changes and saves nothing of
 *     them and answers as after a failure; get_gpu_preference stores a count of 0.
 * 10. Numbers are little-endian native integers. The layout of every record is fixed: its size is asserted below it,
 *     the offsets of its fields are listed in abi/layouts.txt of the source.
 * 11. Environment. HOME is the only variable that the library itself reads. The shell looks for "dmidecode" and "ps"
 *     in PATH; what these tools write to standard error goes to the process's own.
 */
#ifndef KT3_MGMT_INTERFACE_H
#define KT3_MGMT_INTERFACE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define KT3_EXPORT __attribute__((visibility("default")))
#define KT3_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define KT3_EXPORT
#define KT3_PRINTF_LIKE(text, first)
#endif

#ifdef __cplusplus
#define KT3_LAYOUT(condition) static_assert(condition, "client record layout")
extern "C" {
#else
#define KT3_LAYOUT(condition) extern char kt3_layout_holds[(condition) ? 1 : -1]
#endif

enum {
    KT3_INTERFACE_VERSION = 23, /* upper 16 bits major, lower 16 bits minor */
    MAX_CHIP_NUM = 3            /* adapter slots in a find_adapter record */
};

/* ---- records: frame ------------------------------------------------------------------------------------------- */

/* Version negotiation, in and out of get_interface_version_ext1. */
typedef struct _GFX_INTERFACE_VERSION {
    int32_t server_version; /* out: always KT3_INTERFACE_VERSION */
    int32_t client_version; /* in: the version the client was built against; a negative one has another major part */
    int32_t match_result;   /* out: one of the KT3_VERSION_ codes */
} _GFX_INTERFACE_VERSION;
KT3_LAYOUT(sizeof(_GFX_INTERFACE_VERSION) == 12);

enum {
    KT3_VERSION_MAJOR_MISMATCH = 100, /* not compatible */
    KT3_VERSION_MATCH = 200,
    KT3_VERSION_OLDER_CLIENT = 201, /* accepted */
    KT3_VERSION_NEWER_CLIENT = 202  /* accepted with a warning */
};

/*
 * Receives one finished, NUL-terminated log line. The line lives until the callback returns. The callback may call the
 * library; what that logs comes between two lines of the call under way.
 */
typedef void (*kt3_print_callback)(const char* line);

/* ---- records: adapters ---------------------------------------------------------------------------------------- */

/* One recorded adapter. Written by gfx_find_adapter, slot by slot. */
typedef struct gpu_infos {
    char bus_id[20];         /* "%04x:%02x:%02x.%d": PCI domain, bus, device, function; NUL-terminated */
    int32_t sysfs_fd;        /* the adapter's PCI directory in sysfs; negative when it cannot be opened */
    int32_t info_fd;         /* the driver's "wy_info" or "qn_info" directory; written only when sysfs_fd is valid */
    int32_t hwmon_fd;        /* the first "hwmon*" directory; written only when there is one */
    uint16_t vendor_id;      /* PCI vendor id */
    uint8_t reserved_34[14]; /* never written */
} gpu_infos;
KT3_LAYOUT(sizeof(gpu_infos) == 48);

/*
 * The adapters of the machine: zeroed by the client, filled by gfx_find_adapter. Slots 0 to chip_num - 1 hold the
 * maker's adapters in the order in which libdrm lists them. A GPU of another vendor is always put into slot 2 and is
 * not counted; of that slot only chip_id, name and drm_card_idx are written for it.
 */
typedef struct find_adapter {
    int32_t reserved_0;                       /* never read or written */
    uint32_t vendor_filter;                   /* in: PCI vendor id to record, 0xFFFF for both families */
    int32_t reserved_8;                       /* never read or written */
    int32_t chip_num;                         /* out: the maker's adapters recorded, 0 to 3 */
    int32_t chip_id[MAX_CHIP_NUM];            /* out: PCI device id */
    char name[MAX_CHIP_NUM][20];              /* out: display name, such as "Gpu0:Vorla-55F0"; NUL-terminated */
    int32_t IS_VA_driver[MAX_CHIP_NUM];       /* out: set to 1 for a driver that reports "VA=1", else left alone */
    int32_t drm_fd[MAX_CHIP_NUM];             /* out: open DRM node; a skipped unknown chip leaves a closed number */
    int32_t drm_card_idx[MAX_CHIP_NUM];       /* out: N of /dev/dri/cardN; left alone for a render-only device */
    int32_t reserved_124;                     /* never read or written */
    struct gpu_infos gpu_infos[MAX_CHIP_NUM]; /* out */
    int32_t current_index;                    /* in: slot for the calls that take this record, 0 to 2 */
} find_adapter;
KT3_LAYOUT(sizeof(find_adapter) == 276);

/* PCI location in the extended record. */
typedef struct kt3_pci_bus {
    uint16_t domain;
    uint8_t bus;
    uint8_t device;
    uint8_t function;
    uint8_t reserved_5; /* zero */
} kt3_pci_bus;
KT3_LAYOUT(sizeof(kt3_pci_bus) == 6);

/* Locally unique id: high is the PCI domain, low is bus * 65536 + device * 256 + function. */
typedef struct kt3_luid {
    uint32_t high;
    uint32_t low;
} kt3_luid;
KT3_LAYOUT(sizeof(kt3_luid) == 8);

/*
 * Extended adapter record, copied out by gfx_find_adapter_ext1. The library's own copy is never cleared, so a client
 * that enumerates twice sees the union of both passes.
 */
typedef struct find_adapter_ext1 {
    uint8_t reserved_0[132];          /* zero */
    int32_t other_vendor_chip_num;    /* 1 once a GPU of another vendor has been recorded */
    uint32_t vendor_id[MAX_CHIP_NUM]; /* PCI vendor id; slot 2 also serves the other vendor's GPU */
    kt3_pci_bus bus[MAX_CHIP_NUM];
    uint8_t reserved_166[2]; /* zero */
    kt3_luid luid[MAX_CHIP_NUM];
    uint8_t reserved_192[1512]; /* zero */
} find_adapter_ext1;
KT3_LAYOUT(sizeof(find_adapter_ext1) == 1704);

/* ---- records: preferences ------------------------------------------------------------------------------------- */

/*
 * The preferred GPU of one application. Stored entries are compared over the 1113 bytes of their fields, so bytes that
 * no value fills must be zero. Text fields may fill their whole width without a terminator.
 */
typedef struct _UTIL_GPU_PREFERENCE_NODE {
    char name[64];          /* file name of the application: the last component of FullPath */
    char FullPath[512];     /* full path of the application */
    int32_t GpuPrefer;      /* preference value, chosen by the client */
    char PreferGpuName[16]; /* display name of the preferred GPU */
    uint16_t bus_domain;    /* PCI location of the preferred GPU */
    uint8_t bus_number;
    uint8_t device_number;
    uint8_t function_number;
    char reserved[512]; /* zero in entries read from the file; kept and compared with the rest, not saved */
} _UTIL_GPU_PREFERENCE_NODE;
KT3_LAYOUT(sizeof(_UTIL_GPU_PREFERENCE_NODE) == 1116);

/* ---- records: allocation -------------------------------------------------------------------------------------- */

enum {
    ALLOCATION_SUMMARY_MAX = 50,      /* entries of a process map and of a summary; a summary uses 49 of them */
    KT3_SEGMENT_SLOTS = 5,            /* sums per segment: 0 to 3, and one slot for every segment from 4 on */
    KT3_ALLOCATION_RAW_LIST_MAX = 20, /* records in one slice of the raw list */
    KT3_MEMLEAK_GROUPS = 15,          /* groups handed out by get_memleak_info */
    KT3_SEGMENTS = 16                 /* segments in a segment record */
};

/* One GPU allocation as the driver describes it. A field that the driver does not write is 0. */
typedef struct _GFX_ALLOCATION_INFO {
    int32_t handle;          /* driver handle of the allocation */
    int32_t device;          /* handle of the device that it belongs to; equals `handle` in the process map */
    int32_t width;           /* surface width */
    int32_t height;          /* surface height */
    int32_t pitch;           /* row pitch */
    int32_t bit_cnt;         /* bits per element */
    int32_t secured;         /* 1 when the content is protected */
    int32_t size;            /* bytes; the low 32 bits of what the driver reports */
    int32_t tile;            /* tiling mode */
    int32_t cpu_visible;     /* 1 when the CPU can map it */
    int32_t cache_type;      /* caching type */
    int32_t pool_type;       /* memory pool type */
    int32_t at_type;         /* allocation type */
    int32_t segmentid;       /* memory segment: 0 to 3, 4 and above are summed together, negative is invalid */
    int32_t hw_format;       /* hardware surface format */
    int32_t compress_format; /* compression format */
    int32_t bl_slot_index;   /* block and slot index */
    int32_t gpu_virt_addr;   /* GPU virtual address, its low 32 bits only */
    int32_t imported;        /* 1 when it came from another process */
    int32_t fb_offset;       /* offset in video memory */
    int32_t share;           /* 1 when it is shared */
    int32_t seen_count;      /* consecutive leak searches that found it; 1 in a snapshot */
    int32_t sum_count;       /* allocations that this record stands for; 1 in a snapshot */
} _GFX_ALLOCATION_INFO;
KT3_LAYOUT(sizeof(_GFX_ALLOCATION_INFO) == 92);

/* One device, that is, what the driver creates when a process opens the adapter, and its owner, that process. */
typedef struct _GFX_DEVICE_PID_MAP {
    int32_t pid;    /* process id of the owner */
    int32_t handle; /* driver handle of the device; equals `device` in its allocations */
    char name[64];  /* program name of the owner, NUL-terminated; empty once the process is gone */
} _GFX_DEVICE_PID_MAP;
KT3_LAYOUT(sizeof(_GFX_DEVICE_PID_MAP) == 72);

/* Bytes that one device holds per segment slot. The sums wrap at 4 GiB; those of the extended record do not. */
typedef struct _GFX_DEVICE_ALLOCATION_SUMMARY {
    int32_t device;
    uint32_t segment_size[KT3_SEGMENT_SLOTS];
} _GFX_DEVICE_ALLOCATION_SUMMARY;
KT3_LAYOUT(sizeof(_GFX_DEVICE_ALLOCATION_SUMMARY) == 24);

/* The same in 64 bits. */
typedef struct _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 {
    int32_t device;
    uint32_t reserved_4;                      /* zero */
    uint64_t segment_size[KT3_SEGMENT_SLOTS]; /* each `size` is added with its sign */
} _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1;
KT3_LAYOUT(sizeof(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1) == 48);

/* One slice of the list of all allocations. */
typedef struct _GFX_ALLOCATION_RAW_LIST {
    int32_t trasfer_cnt;                                    /* in: number of the slice, 0 for the first */
    int32_t total_cnt;                                      /* out: records in the held list */
    int32_t cur_cnt;                                        /* out: records in this slice, 0 to 20 */
    int32_t has_more;                                       /* out: 1 when records remain after this slice, else 0 */
    _GFX_ALLOCATION_INFO list[KT3_ALLOCATION_RAW_LIST_MAX]; /* out: only the first cur_cnt are written */
} _GFX_ALLOCATION_RAW_LIST;
KT3_LAYOUT(sizeof(_GFX_ALLOCATION_RAW_LIST) == 1856);

/*
 * Memory segments. The unit depends on where the numbers come from: a thousandth of the driver's own unit for the
 * "segment_info" node, MiB for heap pages and for sums of allocations.
 */
typedef struct _GFX_SEGMENT_INFO {
    uint32_t used_size[KT3_SEGMENTS];
    uint32_t total_size[KT3_SEGMENTS];
} _GFX_SEGMENT_INFO;
KT3_LAYOUT(sizeof(_GFX_SEGMENT_INFO) == 128);

/* ---- records: sampling ---------------------------------------------------------------------------------------- */

/* Values of gfxbusy_apiversion. The log lines of gfxbusy_init name them. */
enum { KT3_BUSY_VERSION_0 = 1, KT3_BUSY_VERSION_1 = 2, KT3_BUSY_VERSION_EXT_1 = 3 };

/*
 * How busy the engines are. The words m0 to m9 of the kernel-interface module are copied by position; what they mean
 * is the module's. Words without an entry stay as the client had them.
 *
 *     word                                 2    4    5    7    8    9
 *     KT3_BUSY_VERSION_0 and _1            m0   m1        m2
 *     KT3_BUSY_VERSION_EXT_1               m2   m4   m5   m3
 *     the same with the chip id 0x4B05     m2   m4   m5   m7   m8   m9
 */
typedef struct _GFX_BUSY_INFO {
    uint32_t word[10];
} _GFX_BUSY_INFO;
KT3_LAYOUT(sizeof(_GFX_BUSY_INFO) == 40);

/* Rates per second. When the module counts the frames, blit_scans and sum are left as the client had them. */
typedef struct _GFX_FRAME_RATES {
    float frames;     /* since the previous sample */
    float blit_scans; /* since the previous sample */
    float sum;        /* frames + blit_scans */
    float average;    /* of all that is counted, since fps_init */
} _GFX_FRAME_RATES;
KT3_LAYOUT(sizeof(_GFX_FRAME_RATES) == 16);

/*
 * Memory bandwidth counters, the kernel-interface module's words by position. A module with the extended interface
 * fills the record itself. Otherwise all twelve words are copied, except for the chip id 0x4B04: there the module's
 * words 0 to 3 stay in place, its words 5 and 6 become words 8 and 9, and the others stay as the client had them.
 */
typedef struct _GFX_BANDWIDTH_INFO {
    uint32_t word[12];
} _GFX_BANDWIDTH_INFO;
KT3_LAYOUT(sizeof(_GFX_BANDWIDTH_INFO) == 48);

/* ---- records: summary ----------------------------------------------------------------------------------------- */

/* A value that the driver does not publish, where 0 would be a value. */
#define KT3_ABSENT 0xFFFFFFFFU

/*
 * The adapter summary. Clocks are in MHz, as the drivers report them, and read in every call. Words marked as kept are
 * gathered once and shared by all adapters with the same chip id. For the newer family memory_type and
 * memory_bit_width are not written.
 */
typedef struct _GPU_ADAPTER_SUMMARY {
    uint32_t engine_clock;
    uint32_t video_clock;
    uint32_t memory_clock;
    uint32_t frame_buffer_size; /* MiB, as the drivers report it; kept */
    uint32_t memory_speed;      /* newer family: memory_clock * 2; else MT/s of the system's memory, kept */
    uint32_t core_clock;
    uint32_t display_port_number;   /* display outputs; kept */
    uint32_t display_types;         /* the values in support_CONNECT_type_list of their types, combined by OR; kept */
    uint32_t memory_channel_number; /* kept */
    uint32_t current_link_width;    /* PCIe lanes; kept */
    uint32_t memory_type;           /* DDR generation of the system's memory; kept */
    uint32_t memory_bit_width;      /* of the system's memory; kept */
} _GPU_ADAPTER_SUMMARY;
KT3_LAYOUT(sizeof(_GPU_ADAPTER_SUMMARY) == 48);

/*
 * The extended adapter summary. Fields marked as kept are gathered once and shared by all adapters with the same chip
 * id. The parts of versions are read as hexadecimal: the "25" of "25.0.46" is 0x25.
 */
typedef struct _GPU_ADAPTER_SUMMARY_EXT2 {
    uint64_t driver_version;     /* three parts: << 32, << 16, << 0; kept */
    uint64_t firmware_version;   /* four parts: << 48, << 32, << 16, << 0; kept */
    char firmware_name[32];      /* NUL-terminated; kept */
    uint32_t pixel_fill_rate;    /* kept */
    uint32_t texture_fill_rate;  /* kept */
    uint32_t memory_clock_freq;  /* read in every call */
    uint32_t reserved_60;        /* zero */
    uint64_t max_resolution;     /* width << 48, height << 32, refresh rate; of HDMI, else of DP; kept */
    uint64_t vga_max_resolution; /* packed the same way; kept */
    uint32_t memory_usage;       /* KT3_ABSENT when not published, like the next four; read in every call */
    uint32_t use_rate_3d;        /* percent */
    uint32_t use_rate_video;     /* percent */
    uint32_t use_rate_vpp;       /* percent, of video post-processing */
    uint32_t temperature;        /* degrees Celsius */
    uint32_t reserved_100[3];    /* zero */
    uint32_t pcie_generation;    /* kept */
    uint32_t reserved_116[29];   /* zero */
} _GPU_ADAPTER_SUMMARY_EXT2;
KT3_LAYOUT(sizeof(_GPU_ADAPTER_SUMMARY_EXT2) == 232);

/* One type of display output. */
typedef struct kt3_connector_type {
    char name[12]; /* as the driver and the connector directory write it, NUL-terminated */
    int32_t value; /* its bit in display_types */
} kt3_connector_type;
KT3_LAYOUT(sizeof(kt3_connector_type) == 16);

enum { KT3_CONNECTOR_TYPES = 5 };

/* ---- records: power management --------------------------------------------------------------------------------- */

/* Values of dvfs_level. */
enum { KT3_DVFS_BALANCE = 0, KT3_DVFS_LOWPOWER = 1, KT3_DVFS_PERFORMANCE = 2 };

/*
 * The driver's power-management settings, in and out, in the driver's units. A read fills what the driver publishes
 * and leaves the rest as it was; a write sends the fields that differ from the last read.
 */
typedef struct _GPU_DVFS_REGISTER_DATA {
    uint32_t power_mode;            /* power mode word */
    int16_t pg_3d;                  /* power-gating wait count, 3D engine */
    int16_t cg_3d;                  /* clock-gating wait count, 3D engine */
    int16_t pg_vcp;                 /* power gating, video codec engine */
    int16_t cg_vcp;                 /* clock gating, video codec engine */
    int16_t pg_vpp;                 /* power gating, video post-processing engine */
    int16_t cg_vpp;                 /* clock gating, video post-processing engine */
    uint32_t dvfs_mode;             /* mode word */
    uint32_t gfx_dvfs_checksize;    /* graphics engine: check size */
    uint32_t gfx_dvfs_h_threshold;  /* high threshold */
    uint32_t gfx_dvfs_l_threshold;  /* low threshold */
    uint32_t vcp0_dvfs_checksize;   /* video codec engine 0: check size */
    uint32_t vcp0_dvfs_h_threshold; /* high threshold */
    uint32_t vcp0_dvfs_l_threshold; /* low threshold */
    uint32_t vcp1_dvfs_checksize;   /* video codec engine 1: check size */
    uint32_t vcp1_dvfs_h_threshold; /* high threshold */
    uint32_t vcp1_dvfs_l_threshold; /* low threshold */
    uint32_t vpp_dvfs_checksize;    /* video post-processing engine: check size */
    uint32_t vpp_dvfs_h_threshold;  /* high threshold */
    uint32_t vpp_dvfs_l_threshold;  /* low threshold */
    int32_t gfx_clock;              /* graphics clock setting */
    int32_t vclk;                   /* video clock as the driver reports it; never sent */
    uint32_t reserved_76;           /* never read or written */
    uint32_t reserved_80;           /* never read or written */
    int32_t gfx_voltage;            /* graphics voltage setting */
    uint32_t reserved_88;           /* never read or written */
    uint32_t reserved_92;           /* never read or written */
    uint32_t reserved_96;           /* never read or written */
    int32_t mclk;                   /* memory clock as the driver reports it; never sent */
    uint32_t dvfs_level;            /* one of the KT3_DVFS_ levels; any other value is sent as KT3_DVFS_BALANCE */
} _GPU_DVFS_REGISTER_DATA;
KT3_LAYOUT(sizeof(_GPU_DVFS_REGISTER_DATA) == 108);

/* ---- records: virtual memory ---------------------------------------------------------------------------------- */

struct vidmm_vm_pte_elt3k;

/*
 * One page-table entry of a device. The links point to other entries of the same data_vectors record; they stay right
 * when the record is copied, moved or filled beyond its reserved capacity.
 */
typedef struct vidmm_vm_pt {
    char Buffer[48];                        /* text after "buffer:", NUL-terminated */
    char Addr[48];                          /* text after "addr:" up to the next comma, NUL-terminated */
    struct vidmm_vm_pt* entries;            /* first entry of the next level below this one, or null */
    struct vidmm_vm_pt* parent;             /* entry of the level above; set on the first child only */
    int32_t PT_Level;                       /* 0, 1 or 2 */
    int32_t PT_index;                       /* index within its table */
    struct vidmm_vm_pte_elt3k* sub_entries; /* first sub-table entry of the run below this entry, or null */
    struct vidmm_vm_pt* next;               /* next sibling, or null */
    struct vidmm_vm_pt* pre;                /* previous sibling, or null */
} vidmm_vm_pt;
KT3_LAYOUT(sizeof(vidmm_vm_pt) == 144);

/* Level and index of the page-table entry above a run of sub-table entries; 0, 0 for a run without one. */
typedef struct kt3_digital_index {
    int32_t parent_level;
    int32_t parent_index;
} kt3_digital_index;
KT3_LAYOUT(sizeof(kt3_digital_index) == 8);

/* One sub-table entry of a device. A run is a sequence of them that no page-table entry interrupts. */
typedef struct vidmm_vm_pte_elt3k {
    uint16_t Snoop;
    uint16_t Segment;
    char Addr[48];                   /* text after "Addr:" to the end of the line, NUL-terminated */
    uint16_t LargePage;              /* 0 when the line does not name it */
    int32_t ST_Level;                /* 0, 1 or 2 */
    int32_t Index;                   /* index within its table */
    struct vidmm_vm_pte_elt3k* next; /* next entry of the same run, or null */
    struct vidmm_vm_pte_elt3k* pre;  /* previous entry of the same run, or null */
    struct vidmm_vm_pt* parent;      /* page-table entry above the run; set on the first entry of a run only */
    uint8_t found;                   /* 1 only in the copy that a successful Find_SubTable_2_node returns */
    kt3_digital_index DigitalIndex;  /* filled by generate_DigitalIndex */
} vidmm_vm_pte_elt3k;
KT3_LAYOUT(sizeof(vidmm_vm_pte_elt3k) == 104);

enum {
    KT3_PAGE_TABLE_ROW = 1, /* values of `type` in a row */
    KT3_SUB_TABLE_ROW = -1
};

/* One exported row: a page-table entry or a sub-table entry of one device. Look at `type` first. */
typedef struct _PAGETABLE_DATA {
    int64_t pid;            /* process id of the owner */
    int64_t addr;           /* address of the entry; a signed 32-bit value, widened */
    uint16_t snoop;         /* sub-table rows only; page-table rows leave the client's bytes alone */
    uint16_t segment;       /* sub-table rows only, as above */
    uint16_t large_page;    /* sub-table rows only, as above */
    uint8_t reserved_22[2]; /* never written */
    int32_t level;          /* 0, 1 or 2 */
    int32_t index;          /* index within its table */
    int32_t parent_level;   /* sub-table rows only, as above: of the page-table entry above the run */
    int32_t parent_index;   /* sub-table rows only, as above */
    int32_t type;           /* KT3_PAGE_TABLE_ROW or KT3_SUB_TABLE_ROW */
    uint8_t reserved_44[4]; /* never written */
} _PAGETABLE_DATA;
KT3_LAYOUT(sizeof(_PAGETABLE_DATA) == 48);

/* One virtual-memory node of one allocation. */
typedef struct _GFX_VM_ALLOCATION_DATA {
    int32_t pid;             /* process id of the owner */
    uint8_t reserved_4[4];   /* never written */
    int64_t handle;          /* name of the allocation's directory, read as a hexadecimal number */
    int64_t size;            /* in bytes */
    int64_t gpu_va;          /* GPU virtual address */
    uint8_t reserved_32[24]; /* never written */
} _GFX_VM_ALLOCATION_DATA;
KT3_LAYOUT(sizeof(_GFX_VM_ALLOCATION_DATA) == 56);

/* ---- calls: frame --------------------------------------------------------------------------------------------- */

/* Returns KT3_INTERFACE_VERSION. No side effects, logs nothing. */
KT3_EXPORT int32_t get_interface_version(void);

/*
 * Sets server_version, judges client_version, stores the code in match_result and logs one line:
 *     100  "major version mismatch !!!\n"
 *     200  "client_interface_version ALL Match.\n"
 *     201  "minor version compatile.\n"
 *     202  "warning!!! client minor version > server minior vesion, might have compatible issue.\n"
 * Never refuses: returns 0 in every case.
 */
KT3_EXPORT int32_t get_interface_version_ext1(_GFX_INTERFACE_VERSION* record);

/*
 * Installs the receiver of all further log lines (null stops them), then logs "set_print_callback.\n". May be called
 * at any time. Returns 0. The receiver at load time is printf itself, which takes each finished line as its format: a
 * pair of percent signs comes out as one, a single one as it is. Every other receiver gets the lines unchanged.
 */
KT3_EXPORT int32_t set_print_callback(kt3_print_callback callback);

/*
 * Logs one line through the callback: formatted as printf does, cut at 1023 characters, without a newline of its own.
 * Nothing is formatted while the callback is null. Returns 0.
 */
KT3_EXPORT int32_t lib_print_func(const char* format, ...) KT3_PRINTF_LIKE(1, 2);

/* Does nothing, returns 0; kept for clients that call it. */
KT3_EXPORT int32_t get_driver_info(void);

/* Writes 0 (healthy) to *status and returns 0. No check is made. */
KT3_EXPORT int32_t selfcheck_current_tool_status(int32_t* status);

/* ---- calls: adapters ------------------------------------------------------------------------------------------ */

/*
 * Loads libdrm and looks at the first three DRM devices that it lists. Each known chip of the maker that answers and
 * passes the vendor filter takes the next slot; its descriptors are opened and kept. The first GPU of another vendor
 * that answers, whatever the filter, takes slot 2, also over a third adapter of the maker. Logs what it finds. Always
 * returns 0:
 *   - libdrm or one of its entry points missing: the record and gpuinfo_control_enable are as they were;
 *   - no DRM device: chip_num and gpuinfo_control_enable are 0;
 *   - else gpuinfo_control_enable is 1; without a known chip chip_num is 0 and the slots are as they were.
 * When the machine has more than three DRM devices, "exceed  MAX_CHIP_NUM. " goes to standard output: twice, or once
 * when a GPU of another vendor was recorded. Each call opens new descriptors and loads libdrm once more.
 */
KT3_EXPORT int32_t gfx_find_adapter(find_adapter* record);

/* Copies the extended adapter record (1704 bytes) of all enumerations so far. Does not enumerate. Returns 0. */
KT3_EXPORT int32_t gfx_find_adapter_ext1(find_adapter_ext1* record);

/*
 * Binds the slot at current_index. In this order: makes it current as gpuinfo_select_new_chip does; empties the
 * preference list; loads the chip's kernel-interface module, a shared object that makes the driver's private requests;
 * switches the driver's usage accounting on by writing "1" to "enable_usage"; creates the device object that module
 * calls work on. Returns the chip id, or -1:
 *   - the index is not a slot: nothing is touched;
 *   - the module cannot be loaded: logs "open libkeinterface module fail. \n ";
 *   - the chip is unknown and no module is loaded: logs "invalidate chip id. \n " and that line;
 *   - the module lacks its size query: logs "get pfn_gfx_get_struct_size fail. \n ";
 *   - the size is 0 or cannot be allocated: logs "get_struct_size err\n " or "pdev alloc mem fail.\n ".
 * Steps done before a failure stay done. Accounting is switched on for every chip id except 0, whatever fails later.
 *
 * Binding again without gfx_global_exit keeps the older module loaded and the earlier adapter's accounting on. An
 * unknown chip then binds with the older module: its id is returned, 0 included, "invalidate chip id. \n " is logged,
 * and sys_kernel_debug_ID_dri_ADAPTER_path stays, so allocation and heap calls go on reading the earlier adapter's
 * tree.
 */
KT3_EXPORT int32_t gfx_global_init(find_adapter* record);

/*
 * Ends the binding: writes "0" to "enable_usage", closes the module, frees the device object and empties the
 * preference list. The argument is only logged. Returns 0.
 *
 * Accounting is switched off on the current adapter, the one selected last, and only when the chip id last given to
 * gfx_global_init is not 0; an adapter that was left by binding another keeps it on. The current adapter, the chip id,
 * the DRM descriptor and the debugfs directory stay, so node and allocation readings still answer. No entry point of
 * the closed module is called any more.
 */
KT3_EXPORT int32_t gfx_global_exit(int32_t chip_id_idx);

/* The first half of gfx_find_adapter: loads libdrm. Returns 1, or 0 when it or an entry point is missing. */
KT3_EXPORT int32_t gpuinfo_vorla_init(void);

/*
 * The second half: enumerates, leaving gpuinfo_control_enable alone. Returns 1, or 0 when libdrm is not loaded
 * (nothing is touched) or no DRM device exists (chip_num is 0).
 */
KT3_EXPORT int32_t gpuinfo_vorla_get_device_handles(find_adapter* record);

/*
 * Makes the slot at current_index current, without binding it: nodes, hwmon attributes and sysfs files are then read
 * from that adapter, while module and debugfs directory stay those of the bound one. The index is not compared with
 * chip_num; one outside 0 to 2 changes nothing. Logs the index and the name. Returns 0.
 */
KT3_EXPORT int32_t gpuinfo_select_new_chip(find_adapter* record);

/* ---- calls: driver nodes -------------------------------------------------------------------------------------- */

/*
 * All of them read or write the current adapter and log nothing. Without one, or when a node is absent, values are 0.
 * Plain integers are looked for in the first 64 bytes of a node, temperature and frame counters in all of it; what
 * follows the number is ignored, and a number of more than 32 bits keeps its low ones. Node indices:
 *    0 engine_3d_usage   8 driver_version   16 enable_perf      24 dvfs_mode
 *    1 engine_vcp_usage  9 miu_channel_num  17 enable_usage     25 dvfs_control_params
 *    2 engine_vcp_info  10 slice_mask       18 fps_count        26 dvfs_clk_voltage
 *    3 engine_vpp_usage 11 fb_size          19 rxa_blt_scn_cnt  27 dvfs_level
 *    4 fan_speed        12 free_fb_mem      20 misc_ctl_flag    28 segment_info
 *    5 vbios_version    13 eclk             21 power_mode       29 coreclk
 *    6 pmp_version      14 vclk             22 power_case       30 none
 *    7 release_date     15 mclk             23 pwm_wait_count
 * Hwmon indices: 0 temp1_input, 1 fan0_input, 2 fan1_input, 3 none.
 */

/* The decimal integer in a driver node; 0 when it cannot be read or holds no number, or the index is not of a node. */
KT3_EXPORT int32_t gpuinfo_get_wyinfoFD_value_int(int32_t node_index);

/* The decimal integer in a hwmon attribute. *bytes_read tells a missing attribute (0) from a value of 0. */
KT3_EXPORT int32_t gpuinfo_get_hwmonFD_value_int(int32_t hwmon_index, uint32_t* bytes_read);

/* Degrees Celsius from "temp1_input", a text such as "45 *C". *status is 1, or 0 when there is no number. */
KT3_EXPORT uint32_t gpuinfo_get_temparature_value_int(uint32_t* status);

/*
 * Sends the text to "enable_usage" ("1" switches the driver's usage accounting on, "0" off). The text is a printf
 * format without arguments: "%%" is sent as one sign. Returns the characters sent, also when the driver refuses them;
 * 0 when the node cannot be opened.
 */
KT3_EXPORT uint32_t gpuinfo_set_enable_usage(const char* text);

/*
 * Frames and nanoseconds from "fps_count", blit scans from "rxa_blt_scn_cnt". A number that is missing leaves its
 * destination as it was. Returns the numbers found in the second node, 0 or 1.
 */
KT3_EXPORT uint32_t gpuinfo_get_fps_count(uint32_t* frame_count, int64_t* timestamp_ns, int64_t* blit_scan_count);

/*
 * Reads "misc_ctl_flag", clears and then sets bits (a bit in both ends up set), writes the word back and reads it
 * again. An unreadable word counts as 0; a write that fails is not reported. Two concurrent updates can lose one.
 */
KT3_EXPORT void gpuinfo_set_misc_ctl_flag(int32_t bits_to_set, int32_t bits_to_clear);

/*
 * Returns the position right after the first `key` in `length` bytes, or -1. Zero bytes are ordinary bytes. The last
 * possible position is never tried: a key at the very end of the buffer is not found.
 */
KT3_EXPORT int32_t find_str_in_buffer(const char* buffer, int32_t length, const char* key);

/*
 * Copies the first line of `source`, cut to capacity - 1 characters, and terminates it. Returns the bytes used with
 * the terminator; 0, with nothing written, for a capacity of 0.
 */
KT3_EXPORT uint32_t safe_str_copy_till_return(char* destination, const char* source, uint64_t capacity);

/* ---- calls: preferences --------------------------------------------------------------------------------------- */

/*
 * The preferences of the user live in $HOME/.local/share/tqm_gfx_util.ini, one section per application. The first get
 * or set of the process reads the file into interface_config_list, once; every change rewrites the file from the list.
 * The calls return 0 in every case: the log says what failed.
 *
 * Reading. A file that does not exist counts as empty, and so does one that HOME gives no path for, because HOME is
 * unset or too long for UTIL_CONFIG_PATH; the log says so. A file that exists and cannot be read whole is left alone
 * from then on, until util_init_config_files has read it: a change stays in the list, and
 * "savefile_INI: can't open %s \n" is logged with the path.
 *
 * Saving. A new file is renamed over the old one, with its owner, group, mode, access list and extended attributes, so
 * that a crash or a full disk leaves the old or the new text. Where that cannot be done the file is written in place.
 * What cannot be saved logs the same line: alone when nothing can be opened, after the lines of the entries when
 * writing fails. The folder of the file is never created. A save that is killed may leave a file
 * "tqm_gfx_util.ini.xxxxxx.tmp" beside it; a save an hour later removes it.
 *
 * Neither read nor written are devices, pipes and sockets, files over 64 MiB, and files that a symbolic link of
 * another user leads to, except that user's own files, and through a link of root those of the effective user.
 */

/*
 * Copies the entries in list order. In: *count is the capacity of `entries`. Out: the number copied. At least one
 * entry is copied when there is any, even for a *count of 0 or less, so the array must hold one. With `entries` null
 * only the number of entries is stored. Returns 0.
 */
KT3_EXPORT int32_t get_gpu_preference(_UTIL_GPU_PREFERENCE_NODE* entries, int32_t* count);

/*
 * Stores the entry in place of the first one whose name is the last component of entry->FullPath (after the last "/"
 * or "\"), else at the end, and writes the file. Put the same component into entry->name: that is what the file keeps.
 * An entry that is stored already, byte for byte, logs "SetGPUPreference_config, same data, skip save log file.\n" and
 * writes nothing. Returns 0, also when the save failed.
 *
 * The file cannot carry a ";", a line end or a zero byte, white space at the edges of a value, or a "]" in a name.
 */
KT3_EXPORT int32_t set_gpu_preference(const _UTIL_GPU_PREFERENCE_NODE* entry);

/*
 * Removes the first entry whose name is the last component of entry->FullPath (no other field is read) and writes the
 * file, whether one was found or not. Does not read the file first: as the first preference call of a process it
 * leaves a file without entries, so call get_gpu_preference before. Returns 0, also when the save failed.
 */
KT3_EXPORT int32_t remove_gpu_preference(const _UTIL_GPU_PREFERENCE_NODE* entry);

/* The three calls above forward to these. */
KT3_EXPORT int32_t GetGPUPreference_config(_UTIL_GPU_PREFERENCE_NODE* entries, int32_t* count);
KT3_EXPORT int32_t SetGPUPreference_config(const _UTIL_GPU_PREFERENCE_NODE* entry);
KT3_EXPORT int32_t RemoveGPUPreference_config(const _UTIL_GPU_PREFERENCE_NODE* entry);

/*
 * Both empty the list and release its storage, then log "initGPUPreference_config.\n " or
 * "uninitGPUPreference_config.\n ". Neither touches the file. Once the file has been read it is not read again: the
 * list stays empty until something is set, and that save keeps the new entry alone. gfx_global_init calls the first,
 * gfx_global_exit the second. Return 0.
 */
KT3_EXPORT int32_t initGPUPreference_config(void);
KT3_EXPORT int32_t uninitGPUPreference_config(void);

/* ---- calls: allocation ---------------------------------------------------------------------------------------- */

/*
 * All of these read the bound adapter's debugfs directory afresh. Those that need a snapshot, the list of all live
 * allocations, walk the directory up to ten times, 5 ms apart, until every file could be read; what an abandoned walk
 * had read stays in the snapshot, so an allocation may be in it twice. Each failed walk writes
 * "Error opening directory" or "Fail to read allocation info. skip..." to standard output. A malformed "handle" or
 * "device" number raises the errors of convention 6.
 */

/*
 * The devices and their owners into 50 entries, zeroed first, in the order of the driver's listing. Returns 0; or -1,
 * at the first failure, with "Error opening directory" or "Fail to read devices info. skip..." on standard output and
 * the entries before it filled. The fiftieth device ends the reading with 0 and writes
 * "exceed ALLOCATION_SUMMARY_MAX!!! " to standard output, even when it is the last.
 *
 * The number of entries is not returned: entries are filled from index 0 on, and unused ones are zero. A device
 * without a "pid" and a "handle" line takes a zero entry as well, so look at all 50 and skip those whose pid and
 * handle are 0.
 */
KT3_EXPORT int32_t get_device_pid_maps(_GFX_DEVICE_PID_MAP* maps);

/*
 * Bytes per device and segment slot into 50 entries, zeroed first, in the order in which the devices appear in a
 * snapshot. Returns 0, or -1 with all entries zero when the snapshot failed. To standard output go:
 *   - "exceed ALLOCATION_SUMMARY_MAX !!! " for each allocation of a fiftieth or later device: 49 entries are used at
 *     most;
 *   - "invalid segmentid !!! " for each allocation with a negative segment, which is added to no sum.
 * The number of entries is not returned: unused ones are zero. Devices that hold nothing have zero sums too, so look
 * at all 49 and skip those whose sums are 0.
 */
KT3_EXPORT int32_t get_device_allocation_summary(_GFX_DEVICE_ALLOCATION_SUMMARY* summary);
KT3_EXPORT int32_t get_device_allocation_summary_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1* summary);

/*
 * One slice of 20 of all allocations, ordered by device; the order within a device is not defined. Slice 0 takes the
 * snapshot of the bound adapter, by the VA flag of the current slot of `adapters`, and holds it for the later slices,
 * which do not look at `adapters`. Ask for 0, then 1, 2, ... while has_more is 1. Returns 0; or -1, with the record
 * unchanged, when the snapshot failed, `adapters` names no slot, or there is no memory
 * ("allocate memory for global_allocation_raw_list fail." on standard output).
 *
 * A slice that begins at the end of the list holds nothing, and so does one with a negative number. One that begins
 * past the end holds nothing either and writes "get_allocation_raw_list_internal, invalid trasfer_cnt !!!" to standard
 * output. All of them return 0.
 */
KT3_EXPORT int32_t get_allocation_raw_list(_GFX_ALLOCATION_RAW_LIST* raw_list, find_adapter* adapters);

/*
 * Compares a snapshot with the allocations tracked by the previous call and writes the 15 largest groups of equal
 * shape (width, height, size, hw_format, at_type), largest first, zero records after the last group. `sum_count` is
 * the number of live allocations of the shape; the other fields are those of the one tracked longest, `seen_count`
 * being the consecutive calls that found it. Groups of equal sum_count come in no defined order. Returns 0 in every
 * case; the result and what is tracked are unchanged when no snapshot could be taken.
 *
 * Two calls see the same allocation when handle, width, height, size, hw_format and at_type agree. Tracking goes on
 * after gfx_global_exit and when another adapter is bound: an allocation there that agrees raises seen_count.
 */
KT3_EXPORT int32_t get_memleak_info(_GFX_ALLOCATION_INFO* result);

/* What these calls forward to, for a chip id (not used) and a VA flag chosen by the caller. */
KT3_EXPORT int32_t get_device_pid_maps_internal(_GFX_DEVICE_PID_MAP* maps, int chip_id, int is_va_driver);
KT3_EXPORT int32_t get_device_allocation_summary_internal(_GFX_DEVICE_ALLOCATION_SUMMARY* summary, int chip_id,
                                                          int is_va_driver);
KT3_EXPORT int32_t get_device_allocation_summary_internal_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1* summary,
                                                               int chip_id, int is_va_driver);
KT3_EXPORT int32_t get_allocation_raw_list_internal(_GFX_ALLOCATION_RAW_LIST* raw_list, find_adapter* adapters);
KT3_EXPORT void get_memleak_information(_GFX_ALLOCATION_INFO* result, int chip_id, int is_va_driver);

/*
 * MiB allocated per segment slot into totals[0] to totals[4], from a snapshot: summed in single precision, rounded
 * down, allocations with a negative segment left out. Returns 0, or -1 with all totals 0 when the snapshot failed.
 */
KT3_EXPORT int32_t get_segment_info_through_allocation(unsigned int* totals, int chip_id, int is_va_driver);

/* ---- calls: segments ------------------------------------------------------------------------------------------ */

/*
 * Chooses where get_segment_info reads from, once for each adapter: the "segment_info" node of the current adapter
 * when the chip at the record's current index is of the newer family, else the heap pages of the bound one; the sums
 * of allocations alone when that source does not answer. Returns the answer of the source, 1 or -1, and writes to
 * standard output what that does. The choice stays, also after gfx_global_exit and when another adapter is bound;
 * until the first call it is the sums alone.
 */
KT3_EXPORT int32_t segment_init(find_adapter* record);

/*
 * Zeroes the record and fills it from the chosen source:
 *   - the node: as gpuinfo_get_segment_info. Returns 1 or -1;
 *   - heap pages: as gpuinfo_get_kmd_segment_info, and to the used sizes 0 to 4 the sums of allocations are added,
 *     also when a page failed. Returns 0, or -1 when the snapshot failed;
 *   - the sums of allocations: the used sizes 0 to 4. Returns 0 or -1.
 * The last two write to standard output what those calls write and raise the errors of convention 6.
 */
KT3_EXPORT int32_t get_segment_info(_GFX_SEGMENT_INFO* segments);

/*
 * Reads the first 512 bytes of the "segment_info" node of the current adapter, up to the first id that is missing.
 * With 6 segments or more, slot 4 becomes the sum of all from 4 on and the later slots keep their own numbers. Slots
 * that the node does not name are left alone. Returns 1, or -1 when the node has less than 20 bytes or no segment 0.
 */
KT3_EXPORT int32_t gpuinfo_get_segment_info(_GFX_SEGMENT_INFO* segments);

/*
 * Reads the heap pages of the bound adapter into slots 0 to 3 (invalid, local, PCIe unsnooped, PCIe snooped) in MiB
 * and sets slot 4 to 0; sizes wrap at 4 GiB. The flag is not used. A page that does not exist repeats the numbers of
 * the page before it. Returns 1, or -1 when the directory cannot be opened ("Error opening directory" on standard
 * output) or a page cannot be read or lacks a key; the numbers read until then stay, and no descriptor stays open.
 */
KT3_EXPORT int32_t gpuinfo_get_kmd_segment_info(_GFX_SEGMENT_INFO* segments, int32_t flag);

/* ---- calls: sampling ------------------------------------------------------------------------------------------- */

/*
 * Three pairs: the first call finds the bound module's entry points, the second samples through them. They stay in use
 * until the first call is made again. Between gfx_global_exit and the next successful gfx_global_init the second call
 * calls no module; then it takes the entry points of the same names from the module that is bound. Binding again
 * without an exit keeps those of the older module, so make the first calls again.
 */

/*
 * Chooses the busy interface and logs each that it finds: "gfxbusy_init  use GFXBUSY_VERION_1.\n ", or _0 where that
 * is missing, then _EXT_1; the last one found is used. Returns 0; or -1 with
 * "gfx_xxx interface functions init fail. \n " when the module has neither of the first two, and what an earlier call
 * found stays in use.
 */
KT3_EXPORT int32_t gfxbusy_init(void);

/* Fills the record through the interface of gfxbusy_apiversion; leaves it alone when that is missing. Returns 0. */
KT3_EXPORT int32_t get_gpubusy_info(_GFX_BUSY_INFO* record);

/*
 * Counts frames through the module, or through the nodes "fps_count" and "rxa_blt_scn_cnt" when it does not count
 * them, and takes the sample that the first rates start from. Returns 0.
 */
KT3_EXPORT int32_t fps_init(void);

/*
 * Takes a sample and writes the rates since the previous one in single precision. Returns 0; or -1 with nothing
 * written when the time stamp is that of the previous sample, as it is when nothing can be read. Time stamps are
 * rounded to single precision before they are subtracted: two that round to the same number give a rate that is
 * infinite or is not a number.
 */
KT3_EXPORT int32_t get_fps_info(_GFX_FRAME_RATES* rates);

/*
 * Finds the bandwidth interface and prepares it. Returns 0; or -1 with "gfx_xxx interface functions init fail. \n " in
 * the log when it is incomplete, with "gfx_init_hwinfo fail. \n " when the module refuses. Without a device object
 * nothing is prepared and a complete interface returns 0.
 */
KT3_EXPORT int32_t bandwidth_init(void);

/* Fills the record through what bandwidth_init found, also when the module refused; else leaves it alone. Returns 0. */
KT3_EXPORT int32_t get_bandwidth_info(_GFX_BANDWIDTH_INFO* record);

/* ---- calls: summary -------------------------------------------------------------------------------------------- */

/*
 * The summary of the adapter in the record's current slot: chip id and card number come from the record, nodes and
 * sysfs files from the current adapter. Kept facts are gathered when the chip id differs from that of the previous
 * call, which runs "dmidecode" three times and logs two lines; else only the clocks are read. Missing values are 0,
 * except memory_type: it is 4 when unknown, and memory_type and memory_bit_width are 1 when no shell can be started.
 * Nothing is written when current_index is not a slot. Returns 0. Gathering may write to standard output:
 *   - "Failed to run command", once for each of the three runs that cannot be started;
 *   - "get_line_from_string fail, string too long!!!" when /proc/gpuinfo_N lists display types in 100 bytes or more;
 *   - "Error opening drm directory" when an adapter of the older family has no displays in that page and its directory
 *     of connectors cannot be opened.
 */
KT3_EXPORT int32_t get_adapter_summary(_GPU_ADAPTER_SUMMARY* record, const find_adapter* adapters);

/*
 * The extended summary from the first 1024 bytes of /proc/gpuinfo_N. Every field is written: what is missing is 0, or
 * KT3_ABSENT for usages and temperature. Kept fields are gathered, and one line logged, when the chip id differs from
 * that of the previous call; when the page cannot be read then, they stay 0 for this chip id. Nothing is written when
 * current_index is not a slot. Returns 0.
 */
KT3_EXPORT int32_t get_adapter_summary_ext2(_GPU_ADAPTER_SUMMARY_EXT2* record, const find_adapter* adapters);

/* The two calls above forward to these. */
KT3_EXPORT int32_t gpu_info_get_adapter_summary(_GPU_ADAPTER_SUMMARY* record, const find_adapter* adapters);
KT3_EXPORT int32_t gpu_info_get_adapter_summary_ext2(_GPU_ADAPTER_SUMMARY_EXT2* record, const find_adapter* adapters);

/*
 * Runs the command in a shell, zeroes the buffer, fills it with up to size - 1 bytes of the output and waits for the
 * command to end. Returns the bytes read. A shell that cannot be started writes "Failed to run command" to standard
 * output and gives 1, with the buffer unchanged; a null buffer or a size of 0 takes nothing and gives 0.
 */
KT3_EXPORT uint32_t runShellCommand(const char* command, char* buffer, uint32_t size);

/*
 * The system's DDR generation (4 or 5, 4 when unknown) and memory width in bits (0 when unknown), from
 * "dmidecode -t memory"; 1, with "Failed to run command" on standard output, when the shell cannot be started.
 */
KT3_EXPORT uint32_t runShellCommand_getMemoryTYpe(void);
KT3_EXPORT uint32_t runShellCommand_getBitWidth(void);

/* ---- calls: power management ----------------------------------------------------------------------------------- */

/*
 * Engine, video and memory clock of the current adapter in MHz into clocks[0] to clocks[2]; 0 where a node is absent.
 * Returns 0.
 */
KT3_EXPORT int32_t get_dvfs_info(uint32_t* clocks);

/*
 * Fills the record from the driver and remembers it as last read. A value that is missing leaves its field alone, vclk
 * and mclk become 0. *flushed and dvfs_register_state_data_flushed are set to 1. Logs nothing, returns 0.
 */
KT3_EXPORT int32_t get_data_from_dvfs_register(_GPU_DVFS_REGISTER_DATA* record, uint32_t* flushed);

/*
 * Sends one command for each field that differs from the record as last read (all zero before the first read). What
 * was last read stays as it is, so writing the same record again sends the same commands: read in between. It belongs
 * to the library: after another adapter was selected, read first. Sets dvfs_register_state_data_flushed to 0. Logs
 * nothing, returns 0, also when the driver refuses: read back to see what it took.
 */
KT3_EXPORT int32_t set_data_to_dvfs_register(const _GPU_DVFS_REGISTER_DATA* record);

/* The same two without touching dvfs_register_state_data_flushed. */
KT3_EXPORT int32_t gpuinfo_get_data_from_dvfs_register(_GPU_DVFS_REGISTER_DATA* record);
KT3_EXPORT int32_t gpuinfo_set_data_to_dvfs_register(const _GPU_DVFS_REGISTER_DATA* record);

/* ---- calls: virtual memory ------------------------------------------------------------------------------------ */

/*
 * Page tables of every device below /sys/kernel/debug/dri/0/qn, whatever adapter is bound, in two calls. The driver's
 * own devices and those of process 0 are left out. Returns 0 in every case, so set *count to 0 before the first call.
 *
 * With `rows` null: takes a new snapshot, allocation nodes first, and stores the number of rows in *count. Nodes and
 * page tables are walked up to ten times each, 1 ms apart; what an abandoned walk had read stays, so a device may come
 * twice. "ps" is run for each device. To standard output go "Fail to read allocation info.. skip and try it again..."
 * for each walk that a node file ends and "Fail to read pid info. skip..." for each that the info file of a device
 * ends; when the snapshot fails, an empty line and "The function is being tested on this Chip......", and *count is
 * unchanged.
 *
 * With an array of at least that many rows: fills it from the last snapshot; *count is not looked at. Rows come device
 * by device, page-table entries of levels 0 to 2 before sub-table entries of levels 0 to 2. The call may be repeated.
 * After a failed snapshot it writes the same two lines and no row; before the first snapshot there are no rows.
 *
 * Malformed numbers raise the errors of convention 6: levels and indices in the first call, which counts as failed
 * then; a process id that is not a number, or an address that does not fit into a signed 32-bit number, in the second,
 * after the rows before it. A node that ends right after the "=" of a key raises std::out_of_range in the first call,
 * with a text that names basic_string::substr. A process id, process name, address or buffer text of more than 47
 * characters ends the process with a line on standard error.
 */
KT3_EXPORT int32_t get_pagetable_data(_PAGETABLE_DATA* rows, uint32_t* count);

/*
 * Allocation nodes of the last page-table snapshot, in two calls: with `entries` null stores their number in *count,
 * with an array of at least that many entries fills it. Takes no snapshot itself. After a failed one nothing is
 * written and the two lines above go to standard output. A malformed number raises the errors of convention 6, after
 * the entries before it. Returns 0 in every case.
 */
KT3_EXPORT int32_t get_allocation_data(_GFX_VM_ALLOCATION_DATA* entries, uint32_t* count);

/* What the two calls above do, without a result. The second is exported under its C++-encoded name as well. */
KT3_EXPORT void get_pagetable_data_info(_PAGETABLE_DATA* rows, uint32_t* count);
KT3_EXPORT void get_allocation_data_info(_GFX_VM_ALLOCATION_DATA* entries, uint32_t* count);

/* ---- objects -------------------------------------------------------------------------------------------------- */

/* The receiver of log lines: printf from load time on, null when logging is off. */
extern KT3_EXPORT kt3_print_callback pServerPrintCallback;

/* What gfx_find_adapter_ext1 copies out. */
extern KT3_EXPORT find_adapter_ext1 find_adapter_ext1_cache;

/* 1 after an enumeration that found a DRM device, 0 before the first and after one that found none. */
extern KT3_EXPORT int32_t gpuinfo_control_enable;

/* The current adapter, inside the client's find_adapter record; null before the first selection. */
extern KT3_EXPORT gpu_infos* pCurrent_gpu_infos;

/* "/sys/bus/pci/devices/<bus id>" of the current adapter; empty before the first selection. */
extern KT3_EXPORT char sys_bus_pci_devices_BUSID_path[60];

/*
 * The bound adapter's driver directory in debugfs, "/sys/kernel/debug/dri/N/wy" or ".../qn"; empty before the first
 * known chip is bound, kept by gfx_global_exit.
 */
extern KT3_EXPORT char sys_kernel_debug_ID_dri_ADAPTER_path[50];

/* The device object: sized by the kernel-interface module, owned by the library; null when there is none. */
extern KT3_EXPORT void* pdev;

/* The bound adapter's DRM descriptor, first argument of every module call; kept by gfx_global_exit. */
extern KT3_EXPORT int32_t __perf_event_fd;

/* Path of the preference file, NUL-terminated; empty until it is first needed, and while HOME gives no path. */
extern KT3_EXPORT char UTIL_CONFIG_PATH[512];

/* 1 at load time and after get_data_from_dvfs_register; 0 after set_data_to_dvfs_register: read again. */
extern KT3_EXPORT int32_t dvfs_register_state_data_flushed;

/* The types of display outputs and their bits in display_types. */
extern KT3_EXPORT const kt3_connector_type support_CONNECT_type_list[KT3_CONNECTOR_TYPES];

/*
 * The busy interface in use, one of the KT3_BUSY_ values: KT3_BUSY_VERSION_1 until gfxbusy_init finds another. A
 * client may choose another of those found; for any other value get_gpubusy_info writes nothing.
 */
extern KT3_EXPORT int32_t gfxbusy_apiversion;

/* 1 when the module counts the frames, 0 when they are read from the driver's nodes. Set by fps_init or a client. */
extern KT3_EXPORT int32_t use_IOCTL_get_fps;

/* Result of the last page-table snapshot: 0, or -1 when it failed or an error left it. 0 at load time. */
extern KT3_EXPORT int32_t Get_Local_Data_Status;

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
