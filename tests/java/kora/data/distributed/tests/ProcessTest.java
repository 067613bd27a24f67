package kora.data.distributed.tests;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.File;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import kora.data.distributed.common.KvManagerFactory;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** What can only be seen in a process of its own: loading, class loaders, settings, the end. */
class ProcessTest {
  private static final String CHECKED = "-Xcheck:jni";
  private static final String LIBRARIES = "-Dkora.library.path=" + System.getProperty("kora.library.path");

  @TempDir Path folder;

  /** In a process without -Xcheck:jni, which takes time that grows with the square of the references in a call. */
  @Test
  void aVeryLargeBatchCrossesInOneCall() throws Exception {
    Child child = run(List.of(LIBRARIES), "batch", "200000");
    assertEquals(0, child.status, child.output);
    System.out.println(child.output);
  }

  @ParameterizedTest
  @CsvSource({"return, 0", "exit, 3", "throw, 1"})
  void aProcessEndsOnItsOwnTermsWhateverIsGoingOn(String way, int status) throws Exception {
    for (int round = 0; round < 5; round++) {
      Child child = run(List.of(LIBRARIES, CHECKED), "exit", way);
      assertEquals(status, child.status, child.output);
    }
  }

  @Test
  void classesOfAChildLoaderReceiveCallbacksAndASecondLoaderIsRefused() throws Exception {
    Child child = run(List.of(LIBRARIES, CHECKED), "loaders", jar(KvManagerFactory.class), jar(ChildProgram.class));
    assertEquals(0, child.status, child.output);
    assertTrue(child.output.contains("received key"), child.output);
    assertTrue(child.output.contains("refused NOT_SUPPORT"), child.output);
    assertTrue(child.output.contains("loaded already"), child.output);
  }

  @Test
  void theLibraryPathIsFinalAndNamedWhenItFails() throws Exception {
    Child child = run(List.of("-Dkora.library.path=" + folder), "put");
    assertEquals(1, child.status, child.output);
    assertTrue(child.output.contains(folder.resolve("libkora_data_client.so").toString()), child.output);
    assertTrue(child.output.contains("kora.library.path"), child.output);
  }

  @Test
  void theLibrariesInTheJarAreUnpackedForTheUserAlone() throws Exception {
    assertEquals(0, run(List.of(CHECKED), "put").status);
    List<Path> unpacked = files(folder.resolve("cache"));
    assertEquals(3, unpacked.size(), unpacked.toString());
    Path library = unpacked.get(0);
    assertEquals("rwx------", PosixFilePermissions.toString(Files.getPosixFilePermissions(library.getParent())));
    // What another process left half written, or was tampered with, is replaced.
    byte[] whole = Files.readAllBytes(library);
    Files.write(library, new byte[10]);
    assertEquals(0, run(List.of(CHECKED), "put").status);
    assertEquals(whole.length, Files.size(library));
    assertEquals(unpacked, files(folder.resolve("cache")));
  }

  @Test
  void withoutACacheATemporaryFolderDoes() throws Exception {
    Files.writeString(folder.resolve("cache"), "not a folder");
    Path temporary = Files.createDirectory(folder.resolve("tmp"));
    Child child = run(List.of("-Djava.io.tmpdir=" + temporary), "put");
    assertEquals(0, child.status, child.output);
    assertEquals(List.of(), files(temporary));
    Process living = builder(List.of("-Djava.io.tmpdir=" + temporary), "hold").start();
    assertEquals('h', living.getInputStream().read());
    List<Path> used = files(temporary);
    assertEquals(0, run(List.of("-Djava.io.tmpdir=" + temporary), "put").status);
    assertEquals(used, files(temporary));
    assertEquals(2, used.size(), used.toString());
    assertTrue(living.destroyForcibly().waitFor(60, TimeUnit.SECONDS));
    assertEquals(0, run(List.of("-Djava.io.tmpdir=" + temporary), "put").status);
    assertEquals(0, temporary.toFile().list().length, "what a killed process left is still there");
    Child hopeless = run(List.of("-Djava.io.tmpdir=" + folder.resolve("absent")), "put");
    assertEquals(1, hopeless.status, hopeless.output);
    assertTrue(hopeless.output.contains("cache") && hopeless.output.contains("absent"), hopeless.output);
  }

  @Test
  void settingsAreCheckedTakenAndRefusedWhenItIsTooLate() throws Exception {
    Path home = folder.resolve("configured home");
    Child child = run(List.of(LIBRARIES, CHECKED), "configure", home.toString());
    assumeTrue(!child.output.contains("NOT_SUPPORT"), "this client has no settings");
    assertEquals(0, child.status, child.output);
    assertTrue(child.output.contains("bad INVALID_ARGUMENT") && child.output.contains("memory.budget"), child.output);
    assertTrue(child.output.contains("late INVALID_ARGUMENT"), child.output);
    for (String name : List.of("endpoints: 'hub'", "endpoints: ''", "ca", "certificate", "server.name", "user",
        "password.file", "namespace", "lease: '1999'", "timeout: '60001'", "death.after: '1'")) {
      assertTrue(child.output.contains("cluster INVALID_ARGUMENT: cluster." + name), name + ": " + child.output);
    }
    assertTrue(Files.isDirectory(home.resolve("child")), files(folder).toString());
  }

  @Test
  void aRateTurnsCallsAwayButNotTheEndOfATransaction() throws Exception {
    Child child = run(List.of(LIBRARIES, CHECKED), "limited", "1");
    assumeTrue(!child.output.contains("NOT_SUPPORT"), "this client has no settings");
    assertEquals(0, child.status, child.output);
    assertTrue(child.output.contains("refused EXCEED_MAX_ACCESS_RATE"), child.output);
    assertTrue(child.output.contains("named 6"), child.output);
  }

  @Test
  void aStoreThatIsOnlyReadRefusesWrites() throws Exception {
    Child early = run(List.of(LIBRARIES, CHECKED), "access", "true");
    assumeTrue(!early.output.contains("NOT_SUPPORT"), "this client has no settings");
    assertTrue(early.output.contains("refused STORE_NOT_FOUND"), early.output);
    Child writer = run(List.of(LIBRARIES, CHECKED), "access", "false");
    assertTrue(writer.output.contains("read 0"), writer.output);
    Child reader = run(List.of(LIBRARIES, CHECKED), "access", "true");
    assertTrue(reader.output.contains("read 1"), reader.output);
    assertTrue(reader.output.contains("refused READ_ONLY"), reader.output);
  }

  private Child run(List<String> options, String... arguments) throws IOException, InterruptedException {
    File output = folder.resolve("output").toFile();
    Process process = builder(options, arguments).redirectErrorStream(true).redirectOutput(output).start();
    boolean ended = process.waitFor(60, TimeUnit.SECONDS);
    process.destroyForcibly();
    String text = Files.readString(output.toPath(), StandardCharsets.UTF_8);
    assertTrue(ended, "still running after a minute: " + text);
    assertTrue(!text.contains("FATAL ERROR in native"), text);
    return new Child(process.exitValue(), text);
  }

  private ProcessBuilder builder(List<String> options, String... arguments) {
    List<String> command = new ArrayList<>(List.of(System.getProperty("java.home") + "/bin/java", "-ea"));
    command.addAll(options);
    command.addAll(List.of("-cp", System.getProperty("java.class.path"), ChildProgram.class.getName()));
    command.addAll(List.of(arguments));
    ProcessBuilder builder = new ProcessBuilder(command);
    builder.environment().put("KORA_DATA_HOME", folder.resolve("home").toString());
    builder.environment().put("XDG_CACHE_HOME", folder.resolve("cache").toString());
    return builder;
  }

  private static List<Path> files(Path root) throws IOException {
    try (Stream<Path> files = Files.walk(root)) {
      return files.filter(Files::isRegularFile).sorted().collect(Collectors.toList());
    }
  }

  private static String jar(Class<?> type) {
    return type.getProtectionDomain().getCodeSource().getLocation().toString();
  }

  private static final class Child {
    final int status;
    final String output;

    Child(int status, String output) {
      this.status = status;
      this.output = output;
    }
  }
}
