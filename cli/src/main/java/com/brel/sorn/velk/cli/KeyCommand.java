package com.brel.sorn.velk.cli;

import java.io.IOException;
import java.io.OutputStream;
import java.nio.channels.Channels;
import java.nio.channels.SeekableByteChannel;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.AclEntry;
import java.nio.file.attribute.AclEntryPermission;
import java.nio.file.attribute.AclEntryType;
import java.nio.file.attribute.AclFileAttributeView;
import java.nio.file.attribute.FileAttribute;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.SecureRandom;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.HexFormat;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;
import picocli.CommandLine.ParentCommand;

@Command(
    name = "key",
    description = "Makes masking keys.",
    subcommands = KeyCommand.New.class,
    synopsisSubcommandLabel = "COMMAND")
final class KeyCommand {
  @ParentCommand private Velk velk;
  @Mixin private HelpOption help;

  @Command(
      name = "new",
      description = "Writes a new key into a file that only its owner can read.",
      footer = {
        "",
        "The key is drawn from 32 random bytes and written as 64 hexadecimal digits. A masking string"
            + " names it: key=file:FILE. Who loses it cannot mask alike any more; who copies it can"
            + " find out values."
      })
  static final class New implements Callable<Integer> {
    private static final int KEY_BYTES = 32;

    @ParentCommand private KeyCommand key;
    @Mixin private HelpOption help;

    @Parameters(paramLabel = "FILE", description = "A file that does not exist yet.")
    private String file;

    @Override
    public Integer call() throws IOException {
      if (Input.isStandard(file)) {
        throw Failure.usage("a key is written into a file, never to standard output");
      }
      Path target = Path.of(file);
      byte[] text = keyText();
      try {
        write(target, text);
      } catch (IOException e) {
        throw Failure.inputOutput(Show.text(file) + ": " + Reason.of(e));
      } finally {
        Arrays.fill(text, (byte) 0);
      }
      String name = Show.text(file);
      key.velk.streams().say("velk: a new key is in " + name + "; name it as key=file:" + name);
      return ExitCode.DONE;
    }

    /** A key's digits and a line end, in ASCII. */
    private static byte[] keyText() {
      byte[] random = new byte[KEY_BYTES];
      new SecureRandom().nextBytes(random);
      byte[] text = new byte[2 * KEY_BYTES + 1];
      HexFormat digits = HexFormat.of();
      for (int i = 0; i < KEY_BYTES; i++) {
        text[2 * i] = (byte) digits.toHighHexDigit(random[i]);
        text[2 * i + 1] = (byte) digits.toLowHexDigit(random[i]);
      }
      text[2 * KEY_BYTES] = '\n';
      Arrays.fill(random, (byte) 0);
      return text;
    }

    /** A file that was there stays as it is; of one that cannot be completed nothing is left. */
    private static void write(Path target, byte[] text) throws IOException {
      boolean posix = target.getFileSystem().supportedFileAttributeViews().contains("posix");
      FileAttribute<?>[] owners =
          posix
              ? new FileAttribute<?>[] {
                PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------"))
              }
              : new FileAttribute<?>[0];
      Set<StandardOpenOption> how =
          EnumSet.of(StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE);
      SeekableByteChannel channel = Files.newByteChannel(target, how, owners);
      boolean complete = false;
      try (OutputStream out = Channels.newOutputStream(channel)) {
        if (!posix) {
          leaveToOwner(target);
        }
        out.write(text);
        complete = true;
      } finally {
        if (!complete) {
          Files.deleteIfExists(target);
        }
      }
    }

    /** Takes away what a folder of Windows grants to others, while nothing is in the file yet. */
    private static void leaveToOwner(Path target) throws IOException {
      AclFileAttributeView access = Files.getFileAttributeView(target, AclFileAttributeView.class);
      if (access == null) {
        throw new FileSystemException(
            target.toString(), null, "this file system cannot keep a file for its owner alone");
      }
      access.setAcl(
          List.of(
              AclEntry.newBuilder()
                  .setType(AclEntryType.ALLOW)
                  .setPrincipal(access.getOwner())
                  .setPermissions(AclEntryPermission.values())
                  .build()));
    }
  }
}
