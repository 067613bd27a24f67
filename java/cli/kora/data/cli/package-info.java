/** The command line tool: {@link kora.data.cli.Kora} with one class for each command and each file format. */
package kora.data.cli;
