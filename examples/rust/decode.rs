//! decode PLUGIN INPUT OUTPUT.raw
//!
//! A host in Rust with nothing but the standard library: loads the plug-in, prints the tags of a file and decodes it
//! to bare samples. Build with `rustc --edition 2021 decode.rs`.

use std::env;
use std::ffi::CString;
use std::fs::File;
use std::io::Write;
use std::os::raw::{c_char, c_int, c_void};
use std::ptr::null;

// [records]
// Field for field as in decoder_plugin.h. `packed`: several fields are unaligned, so copy them before use.
#[repr(C, packed)]
struct CreateInfo {
    error_log: u64,
    reserved: u64,
    trace_log: u64,
}

#[repr(C, packed)]
#[derive(Clone, Copy)]
struct Format {
    format_tag: u16,
    channels: u16,
    samples_per_second: u32,
    average_bytes_per_second: u32,
    block_align: u16,
    bits_per_sample: u16,
    extra_size: u16,
    extension: [u8; 22],
    bitrate: u32,
    duration_ms: i64,
    reserved: [u8; 12],
}

#[repr(C, packed)]
struct OpenInfo {
    path: *const u16,
    flags: u32,
    format: Format,
    reserved: u32,
    tags: *const u8,
    tags_size: u32,
    info: *const u8,
    info_size: u32,
}

#[repr(C, packed)]
struct BlockInfo {
    samples: *const u8,
    bytes: u32,
    format: Format,
    reserved: u32,
    position: u64,
    end_of_stream: i32,
}

const OPEN_TAGS: u32 = 0x08;
const _: () = assert!(std::mem::size_of::<Format>() == 64);
const _: () = assert!(std::mem::size_of::<OpenInfo>() == 104);
const _: () = assert!(std::mem::size_of::<BlockInfo>() == 92);
// [records]

type Decoder = *mut c_void;

struct Plugin {
    create: unsafe extern "C" fn(*const CreateInfo) -> Decoder,
    destroy: unsafe extern "C" fn(Decoder) -> i64,
    open: unsafe extern "C" fn(Decoder, *mut OpenInfo) -> i64,
    decode_block: unsafe extern "C" fn(Decoder, *mut BlockInfo) -> i64,
}

extern "C" {
    fn dlopen(path: *const c_char, flags: c_int) -> *mut c_void;
    fn dlsym(library: *mut c_void, name: *const c_char) -> *mut c_void;
}
const RTLD_NOW: c_int = 2;

impl Plugin {
    /// Loads the library by its full path; it stays loaded.
    fn load(path: &str) -> Option<Plugin> {
        let path = CString::new(path).ok()?;
        // SAFETY: the names below belong to functions of exactly these types.
        unsafe {
            let library = dlopen(path.as_ptr(), RTLD_NOW);
            if library.is_null() {
                return None;
            }
            let find = |name: &str| {
                let name = CString::new(name).ok()?;
                let symbol = dlsym(library, name.as_ptr());
                (!symbol.is_null()).then_some(symbol)
            };
            Some(Plugin {
                create: std::mem::transmute(find("Create")?),
                destroy: std::mem::transmute(find("Destroy")?),
                open: std::mem::transmute(find("Open")?),
                decode_block: std::mem::transmute(find("DecodeBlock")?),
            })
        }
    }
}

// [blob]
/// The entries of a tag blob as (name, value); pictures and other binary data are left out.
fn parse_blob(blob: &[u8]) -> Vec<(String, String)> {
    let number = |at: usize| Some(u32::from_le_bytes(blob.get(at..at + 4)?.try_into().ok()?) as usize);
    let mut tags = Vec::new();
    let mut at = 4;
    for _ in 0..number(0).unwrap_or(0) {
        let length = number(at).unwrap_or(0);
        let entry = match blob.get(at + 4..at + length) {
            Some(entry) => entry,
            None => break,
        };
        let units: Vec<u16> = entry.chunks_exact(2).map(|b| u16::from_le_bytes([b[0], b[1]])).collect();
        let mut texts = units.split(|unit| *unit == 0).map(String::from_utf16_lossy);
        tags.push((texts.next().unwrap_or_default(), texts.next().unwrap_or_default()));
        at += length;
    }
    tags
}
// [blob]

// [decoding]
fn run(plugin: &Plugin, decoder: Decoder, input: &str, output: &str) -> Result<(), String> {
    let path: Vec<u16> = input.encode_utf16().chain([0]).collect();
    // SAFETY: all-zero bytes are valid values of both records; `path` outlives the call.
    let mut open: OpenInfo = unsafe { std::mem::zeroed() };
    open.path = path.as_ptr();
    open.flags = OPEN_TAGS;
    if unsafe { (plugin.open)(decoder, &mut open) } != 1 {
        return Err(format!("{input} can't be opened"));
    }
    let (rate, channels) = (open.format.samples_per_second, open.format.channels);
    println!("{rate} Hz, {channels} channels");
    if open.tags != null() {
        // SAFETY: the blob lives until the next Open or Destroy of this decoder.
        let blob = unsafe { std::slice::from_raw_parts(open.tags, open.tags_size as usize) };
        for (name, value) in parse_blob(blob) {
            println!("{name}: {}", value.replace('\r', "; "));
        }
    }
    let mut file = File::create(output).map_err(|e| format!("{output}: {e}"))?;
    loop {
        let mut block: BlockInfo = unsafe { std::mem::zeroed() };
        if unsafe { (plugin.decode_block)(decoder, &mut block) } != 1 {
            return Err("decoding broke off".into());
        }
        if block.bytes > 0 {
            // SAFETY: the samples live until the next DecodeBlock of this decoder.
            let samples = unsafe { std::slice::from_raw_parts(block.samples, block.bytes as usize) };
            file.write_all(samples).map_err(|e| format!("{output}: {e}"))?;
        }
        if block.end_of_stream != 0 || block.bytes == 0 {
            return Ok(());
        }
    }
}
// [decoding]

fn main() {
    let arguments: Vec<String> = env::args().collect();
    if arguments.len() != 4 {
        eprintln!("usage: decode PLUGIN INPUT OUTPUT.raw");
        std::process::exit(2);
    }
    let (library, input, output) = (&arguments[1], &arguments[2], &arguments[3]);
    let plugin = Plugin::load(library).unwrap_or_else(|| {
        eprintln!("{library} can't be loaded or isn't a decoder plug-in");
        std::process::exit(1);
    });
    let logs = CreateInfo { error_log: 0, reserved: 0, trace_log: 0 };
    let decoder = unsafe { (plugin.create)(&logs) };
    let result = run(&plugin, decoder, input, output);
    unsafe { (plugin.destroy)(decoder) };
    if let Err(message) = result {
        eprintln!("{message}");
        std::process::exit(1);
    }
}
